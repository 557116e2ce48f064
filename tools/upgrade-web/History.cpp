// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/History.h"

#include "bytes/AtomicFile.h"
#include "common/Printable.h"

#include <QFile>
#include <QJsonDocument>

namespace web {

namespace {

constexpr int mostRuns = 50;
/** More than any history of this server. */
constexpr qint64 longestFile = qint64{1024} * 1024;

/** A value of a label, as the format quotes it. */
QByteArray labelValue(const QString &text)
{
    QString quoted = text;
    quoted.replace('\\', QLatin1String("\\\\"));
    quoted.replace('"', QLatin1String("\\\""));
    quoted.replace('\n', QLatin1String("\\n"));
    return '"' + quoted.toUtf8() + '"';
}

QByteArray head(const QByteArray &name, const QByteArray &type, const QByteArray &help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

void addTable(QStringList &lines, const QJsonObject &object, const QStringList &names)
{
    for (const QString &name : names) {
        const QJsonValue value = object.value(name);
        const QString text =
            value.isDouble() ? QString::number(value.toDouble()) : value.toVariant().toString();
        lines += QStringLiteral("%1: %2").arg(name, text.isEmpty() ? QStringLiteral("-")
                                                                   : printable(text));
    }
}

} // namespace

QJsonObject historyEntry(const QJsonObject &run)
{
    const QJsonObject document = run["document"].toObject();
    return {{"id", run["id"]},
            {"foreign", run["foreign"]},
            {"mode", run["mode"]},
            {"package", run["package"]},
            {"started", run["started"]},
            {"seconds", document.contains("seconds") ? document["seconds"] : QJsonValue(0)},
            {"exit", document["exit"]},
            {"result", document["result"]},
            {"error", document["error"]},
            {"summary", document["summary"].toString()}};
}

History::History(const QString &path) : m_path(path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QJsonArray runs = QJsonDocument::fromJson(file.read(longestFile)).array();
    for (const QJsonValue run : runs) {
        if (run.isObject() && m_runs.size() < mostRuns)
            m_runs.append(run);
    }
}

bool History::add(const QJsonObject &entry)
{
    m_runs.prepend(entry);
    while (m_runs.size() > mostRuns)
        m_runs.removeLast();
    const QByteArray text = QJsonDocument(m_runs).toJson();
    bytes::AtomicFile file(m_path);
    return file.open() && file.write(text.constData(), text.size()) && file.commit();
}

QByteArray metricsText(const Metrics &metrics, MetricsForm form)
{
    QByteArray text =
        head("upgrade_agent_reachable", "gauge", "Whether the agent answered the last question.");
    text += metrics.isReachable ? "upgrade_agent_reachable 1\n" : "upgrade_agent_reachable 0\n";
    // The name of a counter's family is the only difference.
    const bool isOpen = form == MetricsForm::Open;
    text += head(isOpen ? "upgrade_runs" : "upgrade_runs_total", "counter",
                 "Runs since the start of the server.");
    for (auto it = metrics.runs.begin(); it != metrics.runs.end(); ++it)
        text += "upgrade_runs_total{result=" + labelValue(it.key()) + "} " +
                QByteArray::number(it.value()) + '\n';
    if (metrics.seconds >= 0.0) {
        text += head("upgrade_last_run_duration_seconds", "gauge",
                     "Duration of the last run that has ended.");
        text += "upgrade_last_run_duration_seconds " + QByteArray::number(metrics.seconds) + '\n';
        text += head("upgrade_last_run_bytes", "gauge",
                     "Bytes of the images that the last run has written.");
        text += "upgrade_last_run_bytes " + QByteArray::number(metrics.bytes) + '\n';
    }
    if (!metrics.release.isEmpty()) {
        text += head("upgrade_package_info", "gauge", "The package on the module.");
        text += "upgrade_package_info{model=" + labelValue(metrics.model) +
                ",release=" + labelValue(metrics.release) + "} 1\n";
    }
    return isOpen ? text + "# EOF\n" : text;
}

qint64 bytesWritten(const QJsonObject &run)
{
    qint64 sum = 0;
    const QJsonArray chips = run["chips"].toArray();
    for (const QJsonValue value : chips) {
        const QJsonObject chip = value.toObject();
        if (chip["result"].toString() == QLatin1String("updated"))
            sum += qint64(chip["image_size"].toDouble());
    }
    return sum;
}

QByteArray reportText(const QJsonObject &report)
{
    QStringList lines{QStringLiteral("Report of a firmware upgrade"), QString()};
    addTable(lines, report, {"made", "server_version"});
    addTable(lines, report["status"].toObject(), {"host", "reachable", "agent_version"});
    const QJsonObject package = report["package"].toObject();
    lines += {QString(), QStringLiteral("Package on the module")};
    addTable(lines, package, {"present", "model", "release", "package_version", "size"});
    const QString signature = package["signature"].toObject()["state"].toString();
    lines +=
        QStringLiteral("signature: ") + (signature.isEmpty() ? QStringLiteral("-") : signature);
    const QJsonArray images = package["images"].toArray();
    for (const QJsonValue value : images) {
        const QJsonObject image = value.toObject();
        lines += QStringLiteral("image %1, chip type %2, %3, %4 bytes")
                     .arg(printable(image["name"].toString()))
                     .arg(image["chip_type"].toInt())
                     .arg(image["version"].toString())
                     .arg(image["size"].toDouble(), 0, 'f', 0);
    }
    const QJsonObject run = report["run"].toObject();
    lines += {QString(), QStringLiteral("Run")};
    addTable(lines, run, {"id", "state", "foreign", "mode", "started", "phase", "percent"});
    const QJsonObject document = run["document"].toObject();
    addTable(lines, document, {"result", "exit", "summary"});
    if (document["error"].isObject())
        addTable(lines, document["error"].toObject(), {"id", "text", "detail", "advice"});
    const QJsonArray chips = run["chips"].toArray();
    for (const QJsonValue value : chips) {
        const QJsonObject chip = value.toObject();
        lines += QStringLiteral("chip %1: %2 %3, from %4 to %5")
                     .arg(printable(chip["label"].toString()), chip["phase"].toString(),
                          chip["result"].toString(), chip["old_version"].toString(),
                          chip["new_version"].toString());
    }
    lines += {QString(), QStringLiteral("Transcript")};
    const QJsonArray transcript = report["transcript"].toArray();
    for (const QJsonValue value : transcript)
        lines += value.toObject()["time"].toString() + QLatin1Char(' ') +
                 printable(value.toObject()["text"].toString());
    return lines.join('\n').toUtf8() + '\n';
}

} // namespace web
