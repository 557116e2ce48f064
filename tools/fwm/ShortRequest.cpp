// SPDX-License-Identifier: Apache-2.0
#include "fwm/ShortRequest.h"

#include "fwm/RequestFindings.h"
#include "fwm/RequestOf.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>

namespace chip = protocol::chip;

namespace {

/** The last chip type whose number in the description, one more, still is a byte. */
constexpr int lastChipType = 254;
constexpr int largestByte = 255;

const QStringList requestKeys{package::key::model, shortkey::release, shortkey::images};
const QStringList imageKeys{
    package::key::name,       shortkey::chip,           shortkey::quantity, package::key::mcuType,
    package::key::pcbVersion, package::key::speciality, shortkey::version,  shortkey::file};

/** A number, or the same as a string. */
std::optional<int> numberOf(const QJsonValue &value, int least, int most)
{
    const QString text = value.isDouble() ? QString::number(value.toDouble()) : value.toString();
    if (!isDecimal(text, least, most))
        return std::nullopt;
    return text.toInt();
}

/** "main", "fpga 17" or a number. */
std::optional<int> chipTypeOf(const QJsonValue &value)
{
    static const QRegularExpression fpga(QStringLiteral("\\Afpga +([0-9]{1,3})\\z"));
    const QString text = value.toString().toLower();
    if (text == QLatin1String("main"))
        return chip::mainMcu;
    const QRegularExpressionMatch match = fpga.match(text);
    const std::optional<int> type = match.hasMatch()
                                        ? numberOf(match.captured(1), chip::firstFpga, lastChipType)
                                        : numberOf(value, chip::mainMcu, lastChipType);
    return type == chip::networkModule ? std::nullopt : type;
}

/** Turns one image into a chip of the long form. */
class ImageReader
{
public:
    ImageReader(const QJsonObject &image, const QString &place, QVector<Finding> &findings)
        : m_image(image), m_place(place), m_findings(findings)
    {
    }

    QJsonObject chipObject();

private:
    void wrong(const QString &key, const QString &allowed);
    QString text(const QString &key);
    int number(const QString &key, int least, std::optional<int> otherwise);
    std::optional<int> chipType();
    QString speciality(bool isNeeded);
    QStringList version();

    const QJsonObject &m_image;
    const QString m_place;
    QVector<Finding> &m_findings;
};

void ImageReader::wrong(const QString &key, const QString &allowed)
{
    const QString place = m_place + QLatin1Char('.') + key;
    m_findings.append(requestError(place, QStringLiteral("%1 is %2; it must be %3")
                                              .arg(place, valueText(m_image.value(key)), allowed)));
}

QString ImageReader::text(const QString &key)
{
    const QString value = m_image.value(key).toString();
    if (value.isEmpty())
        wrong(key, QStringLiteral("a string that is not empty"));
    return value;
}

int ImageReader::number(const QString &key, int least, std::optional<int> otherwise)
{
    if (otherwise && !m_image.contains(key))
        return *otherwise;
    const std::optional<int> value = numberOf(m_image.value(key), least, largestByte);
    if (!value)
        wrong(key, QStringLiteral("a number from %1 to %2").arg(least).arg(largestByte));
    return value.value_or(0);
}

std::optional<int> ImageReader::chipType()
{
    const std::optional<int> type = chipTypeOf(m_image.value(shortkey::chip));
    if (!type) {
        const bool isNet =
            numberOf(m_image.value(shortkey::chip), chip::networkModule, chip::networkModule)
                .has_value();
        wrong(shortkey::chip,
              isNet ? QStringLiteral("another chip: 'fwm add-net' adds the image of the network "
                                     "module to the package")
                    : QStringLiteral("\"main\", \"fpga N\" with N from 17, or the chip type as a "
                                     "number from 0 to 254, and not 32"));
    }
    return type;
}

QString ImageReader::speciality(bool isNeeded)
{
    static const QRegularExpression letter(QStringLiteral("\\A[A-Z]\\z"));
    if (!isNeeded && !m_image.contains(package::key::speciality))
        return {};
    const QString value = m_image.value(package::key::speciality).toString();
    if (!letter.match(value).hasMatch())
        wrong(package::key::speciality, QStringLiteral("one letter from \"A\" to \"Z\""));
    return value;
}

QStringList ImageReader::version()
{
    const QStringList numbers = m_image.value(shortkey::version).toString().split(QLatin1Char('.'));
    const bool isRight = numbers.size() == 3 && isDecimal(numbers.at(0), 0, largestByte) &&
                         isDecimal(numbers.at(1), 0, largestByte) &&
                         isDecimal(numbers.at(2), 0, largestByte);
    if (!isRight)
        wrong(shortkey::version, QStringLiteral("three numbers from 0 to 255, such as \"1.2.0\""));
    QStringList plain;
    for (int i = 0; i < 3; ++i)
        plain.append(QString::number(numbers.value(i).toInt()));
    return plain;
}

QJsonObject ImageReader::chipObject()
{
    const std::optional<int> known = chipType();
    const int type = known.value_or(chip::firstFpga);
    const bool isMcu = !chip::isFpga(type);
    const QString quantity = QString::number(number(shortkey::quantity, 1, 1));
    const auto variant = [&](const QString &key) {
        return QString::number(isMcu ? number(key, 1, std::nullopt) : number(key, 0, 0));
    };
    const QString name = text(package::key::name);
    const QString mcuType = variant(package::key::mcuType);
    const QString pcbVersion = variant(package::key::pcbVersion);
    const QString letter = speciality(isMcu);
    const QStringList numbers = version();
    const QString code =
        letter.isEmpty() ? QStringLiteral("0") : QString::number(letter.at(0).unicode());
    const QJsonObject pcb{{package::key::name, name},
                          {package::key::pcbVersion, pcbVersion},
                          {package::key::speciality, letter},
                          {package::key::ver1, numbers.at(0)},
                          {package::key::ver2, numbers.at(1)},
                          {package::key::ver3, numbers.at(2)},
                          {package::key::file, text(shortkey::file)},
                          {package::key::inChipType, QString::number(type)},
                          {package::key::inChipQuantity, quantity},
                          {package::key::inMcuType, mcuType},
                          {package::key::inPcbVersion, pcbVersion},
                          {package::key::inSpeciality, code},
                          {package::key::inVer1, numbers.at(0)},
                          {package::key::inVer2, numbers.at(1)},
                          {package::key::inVer3, numbers.at(2)}};
    const QJsonObject mcu{{package::key::mcuType, mcuType}, {package::key::pcbs, QJsonArray{pcb}}};
    return {{package::key::name, name},
            {package::key::chipType, QString::number(chip::toDescription(type))},
            {package::key::chipQuantity, quantity},
            {package::key::mcus, QJsonArray{mcu}}};
}

} // namespace

QByteArray LongForm::json() const
{
    return inAscii(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

LongForm longForm(const QJsonObject &request)
{
    LongForm result;
    const auto text = [&](const QString &key) {
        const QJsonValue value = request.value(key);
        if (!value.isString())
            result.findings.append(requestError(
                key, QStringLiteral("%1 is %2; it must be a string").arg(key, valueText(value))));
        return value.toString();
    };
    findUnknownKeys(request, {}, QStringLiteral("a short request"), requestKeys, result.findings);
    QJsonArray chips;
    const QJsonArray images = request.value(shortkey::images).toArray();
    for (int index = 0; index < images.size(); ++index) {
        const QString place = QStringLiteral("images[%1]").arg(index);
        const QJsonObject image = images.at(index).toObject();
        if (!images.at(index).isObject())
            result.findings.append(
                requestError(place, QStringLiteral("%1 is %2; it must be an object")
                                        .arg(place, valueText(images.at(index)))));
        else
            findUnknownKeys(image, place, QStringLiteral("an image"), imageKeys, result.findings);
        if (images.at(index).isObject())
            chips.append(ImageReader(image, place, result.findings).chipObject());
    }
    result.object = {{package::key::model, text(package::key::model)},
                     {package::key::version, text(shortkey::release)},
                     {package::key::chips, chips}};
    return result;
}

QString shortPlace(const QString &longPlace)
{
    static const QRegularExpression chipPlace(QStringLiteral("\\Achips\\[([0-9]+)\\]"));
    const QMap<QString, QString> renamed{
        {package::key::file, shortkey::file},
        {package::key::chipType, shortkey::chip},
        {package::key::inChipType, shortkey::chip},
        {package::key::chipQuantity, shortkey::quantity},
    };
    if (longPlace == package::key::version)
        return shortkey::release;
    if (longPlace == package::key::chips)
        return shortkey::images;
    const QRegularExpressionMatch match = chipPlace.match(longPlace);
    if (!match.hasMatch())
        return longPlace;
    const QString image = QStringLiteral("images[%1]").arg(match.captured(1));
    const QString key = longPlace.section(QLatin1Char('.'), -1);
    if (!longPlace.contains(QLatin1Char('.')) || key.endsWith(QLatin1Char(']')))
        return image;
    return image + QLatin1Char('.') + renamed.value(key, key);
}

QString withShortPlaces(const QString &text)
{
    static const QRegularExpression place(
        QStringLiteral("chips\\[[0-9]+\\](\\.[a-z_]+[0-9]?(\\[[0-9]+\\])?)*"));
    QString result;
    int done = 0;
    auto matches = place.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        result += text.mid(done, match.capturedStart() - done) + shortPlace(match.captured());
        done = match.capturedEnd();
    }
    return result + text.mid(done);
}

QByteArray sampleRequest()
{
    return R"(// A request for 'fwm build'. Comments like this one are allowed.
{
    // The model that the device reports; a package for another one is refused.
    "model": "HX-8",
    // The release of the whole package.
    "release": "1.0.0",
    "images": [
        {
            // A name for people, without a comma.
            "name": "MAIN",
            // "main", the chip type as a number (1 to 16 are other MCUs), or "fpga 17".
            "chip": "main",
            // How many chips of this type the device has; 1 if this is left out.
            "quantity": 1,
            // What the chip reports about itself, so that it gets no image of another board.
            "mcu_type": 1,
            "pcb_version": 1,
            "speciality": "A",
            // Of this image; a device upgrades to greater versions only.
            "version": "1.0.0",
            // A binary, Intel HEX or S-record file; the path starts at the folder of this request.
            "file": "main.bin"
        },
        {
            // An FPGA needs neither MCU type nor PCB version nor speciality.
            "name": "FPGA",
            "chip": "fpga 17",
            "version": "1.0.0",
            "file": "fpga.bin"
        }
    ]
}
)";
}
