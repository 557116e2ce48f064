// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"
#include "fwm/ImageJson.h"
#include "fwm/OpenPackage.h"
#include "fwm/Words.h"

#include <QHash>
#include <QJsonArray>
#include <QVariant>

using package::RecordKey;

namespace {

/** Pairs of values that differ, as text and as JSON. */
class Differences
{
public:
    void value(const char *name, const QJsonValue &a, const QJsonValue &b);
    void images(const PackageContents &a, const PackageContents &b);

    bool isEmpty() const { return m_json.isEmpty() && m_images.isEmpty(); }
    QString text() const { return m_text; }
    QJsonObject json() const;

private:
    void onlyIn(const char *where, const PackageContents &contents, int index);
    void pair(const PackageContents &a, int indexA, const PackageContents &b, int indexB);

    QString m_text;
    QJsonObject m_json;
    QJsonArray m_images;
};

QString shown(const QJsonValue &value)
{
    return printable(value.toVariant().toString());
}

void Differences::value(const char *name, const QJsonValue &a, const QJsonValue &b)
{
    if (a == b)
        return;
    const QString key = QString::fromLatin1(name);
    m_json.insert(key, QJsonObject{{QStringLiteral("a"), a}, {QStringLiteral("b"), b}});
    m_text +=
        QStringLiteral("%1: %2 -> %3\n")
            .arg(QString(key).replace(QLatin1Char('_'), QLatin1Char(' ')), shown(a), shown(b));
}

QString imageText(const PackageContents &contents, int index)
{
    const ImageInfo &image = contents.images.at(index);
    const QString name = imageName(contents, image);
    return QStringLiteral("%1 (%2)").arg(name.isEmpty() ? QStringLiteral("image") : printable(name),
                                         keyText(image.record.key));
}

void Differences::onlyIn(const char *where, const PackageContents &contents, int index)
{
    QJsonObject json = imageJson(contents, index + 1);
    json.insert(QStringLiteral("only_in"), QString::fromLatin1(where));
    m_images.append(json);
    const RecordKey &record = contents.images.at(index).record.key;
    m_text += QStringLiteral("%1 %2, version %3\n")
                  .arg(*where == 'a' ? QLatin1Char('-') : QLatin1Char('+'))
                  .arg(imageText(contents, index), versionText(record));
}

void Differences::pair(const PackageContents &a, int indexA, const PackageContents &b, int indexB)
{
    const QJsonObject jsonA = imageJson(a, indexA + 1);
    const QJsonObject jsonB = imageJson(b, indexB + 1);
    QJsonObject changes;
    QStringList texts;
    for (const char *name : {"name", "version", "chip_quantity", "size", "sha256", "net"}) {
        const QString key = QString::fromLatin1(name);
        const QJsonValue valueA = jsonA.value(key);
        const QJsonValue valueB = jsonB.value(key);
        if (valueA == valueB)
            continue;
        changes.insert(key,
                       QJsonObject{{QStringLiteral("a"), valueA}, {QStringLiteral("b"), valueB}});
        if (key == QLatin1String("sha256"))
            texts.append(QStringLiteral("other bytes"));
        else if (!valueA.isObject())
            texts.append(QStringLiteral("%1 %2 -> %3").arg(key, shown(valueA), shown(valueB)));
    }
    if (changes.isEmpty())
        return;
    m_images.append(QJsonObject{{QStringLiteral("number_a"), indexA + 1},
                                {QStringLiteral("number_b"), indexB + 1},
                                {QStringLiteral("changes"), changes}});
    m_text +=
        QStringLiteral("! %1: %2\n").arg(imageText(a, indexA), texts.join(QStringLiteral(", ")));
}

/** Images correspond when devices use them for the same chip; several of a kind by their order.
 */
void Differences::images(const PackageContents &a, const PackageContents &b)
{
    QHash<QByteArray, QVector<int>> unmatched;
    for (int index = b.images.size() - 1; index >= 0; --index)
        unmatched[identityOf(b.images.at(index).record.key)].append(index);
    QVector<bool> isMatched(b.images.size(), false);
    for (int index = 0; index < a.images.size(); ++index) {
        QVector<int> &candidates = unmatched[identityOf(a.images.at(index).record.key)];
        if (candidates.isEmpty()) {
            onlyIn("a", a, index);
            continue;
        }
        const int other = candidates.takeLast();
        isMatched[other] = true;
        pair(a, index, b, other);
    }
    for (int index = 0; index < b.images.size(); ++index) {
        if (!isMatched.at(index))
            onlyIn("b", b, index);
    }
}

QJsonObject Differences::json() const
{
    QJsonObject json = m_json;
    json.insert(QStringLiteral("images"), m_images);
    return json;
}

} // namespace

CommandOutcome runDiff(const Options &options)
{
    const OpenPackage a = openSoundPackage(options.file, options);
    if (a.problem)
        return CommandOutcome::failed(*a.problem);
    const OpenPackage b = openSoundPackage(options.other, options);
    if (b.problem)
        return CommandOutcome::failed(*b.problem);

    Differences differences;
    differences.value("package_version", a.contents.header.version, b.contents.header.version);
    differences.value("model", a.contents.description.model, b.contents.description.model);
    differences.value("release", a.contents.description.version, b.contents.description.version);
    differences.images(a.contents, b.contents);
    if (differences.isEmpty() && a.contents.description.json != b.contents.description.json)
        differences.value("description", QStringLiteral("the text of A"),
                          QStringLiteral("the text of B"));
    CommandOutcome outcome;
    outcome.exit = differences.isEmpty() ? ExitCode::NothingToDo : ExitCode::Done;
    outcome.text = differences.text();
    outcome.json = {{QStringLiteral("a"), options.file},
                    {QStringLiteral("b"), options.other},
                    {QStringLiteral("differences"), differences.json()}};
    return outcome;
}
