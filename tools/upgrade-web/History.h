// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QString>

namespace web {

/** The entry of a run that has ended, from its document of GET /api/run. */
QJsonObject historyEntry(const QJsonObject &run);

/** The last runs, the newest first, kept in a file. */
class History
{
public:
    /** A file that does not exist or cannot be read is an empty history. */
    explicit History(const QString &path);

    /** False when the file cannot be written; the entry is kept in memory all the same. */
    bool add(const QJsonObject &entry);
    const QJsonArray &runs() const { return m_runs; }

private:
    const QString m_path;
    QJsonArray m_runs;
};

/** What /metrics shows. */
struct Metrics
{
    bool isReachable = false;
    /** Runs since the start of the server, by result. */
    QMap<QString, int> runs;
    /** Of the last run; negative when there was none. */
    double seconds = -1.0;
    qint64 bytes = -1;
    /** Empty when there is no package. */
    QString model;
    QString release;
};

/** Text forms of metrics: that of Prometheus, 0.0.4, and OpenMetrics 1.0. */
enum class MetricsForm { Prometheus, Open };

QByteArray metricsText(const Metrics &metrics, MetricsForm form);

/** The bytes of the images that a run has written. */
qint64 bytesWritten(const QJsonObject &run);

/** The report about a run as text, for people. */
QByteArray reportText(const QJsonObject &report);

} // namespace web
