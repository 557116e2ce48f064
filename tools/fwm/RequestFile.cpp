// SPDX-License-Identifier: Apache-2.0
#include "fwm/RequestFile.h"

#include "bytes/FileSource.h"
#include "fwm/RequestFindings.h"
#include "fwm/ShortRequest.h"
#include "package/DescriptionKeys.h"
#include "package/PackageLayout.h"

#include <algorithm>

using bytes::FileSource;

namespace {

constexpr char byteOrderMark[] = "\xef\xbb\xbf";

CommandOutcome refusedText(const RequestFile &request, ProblemId problem, const QString &where,
                           const QString &detail)
{
    return CommandOutcome::failed(
        problem, request.path + QLatin1Char(':') + where +
                     (detail.isEmpty() ? QString() : QStringLiteral(": ") + detail));
}

CommandOutcome tooLong(const QString &path, qint64 size)
{
    return CommandOutcome::failed(ProblemId::RequestTooLong,
                                  QStringLiteral("%1: %2 bytes").arg(path).arg(size));
}

/** The first byte beyond ASCII, or -1. */
int foreignOffset(const QByteArray &text)
{
    const auto *const foreign = std::find_if(text.begin(), text.end(), [](char byte) {
        return static_cast<unsigned char>(byte) > 0x7f;
    });
    return foreign == text.end() ? -1 : int(foreign - text.begin());
}

/** Sets the form; returns what is wrong with the text as a whole. */
std::optional<CommandOutcome> checkText(RequestFile &request)
{
    const JsonPlaces &places = request.places;
    const int foreign = foreignOffset(places.text);
    const auto notAscii = [&] {
        return refusedText(request, ProblemId::RequestNotAscii, places.lineAndColumn(foreign), {});
    };
    // Some editors begin a file in UTF-8 with a byte order mark, which the conversion drops.
    const QByteArray withoutMark = places.text.startsWith(byteOrderMark)
                                       ? places.text.mid(sizeof byteOrderMark - 1)
                                       : places.text;
    if (QString::fromUtf8(places.text).toUtf8() != withoutMark)
        return notAscii();
    if (!places.error.isEmpty())
        return refusedText(request, ProblemId::RequestUnreadable,
                           places.lineAndColumn(places.errorOffset), places.error);
    const bool hasChips = places.object.contains(package::key::chips);
    request.isShort = places.object.contains(shortkey::images);
    if (hasChips == request.isShort)
        return refusedText(request, ProblemId::RequestUnreadable, places.lineAndColumn(QString()),
                           hasChips
                               ? QStringLiteral("\"chips\" of a long request and \"images\" of a "
                                                "short one exclude each other")
                               : QStringLiteral("neither \"images\", as a short request has, nor "
                                                "\"chips\", as a long one has"));
    // The long form becomes the package's description as it is.
    if (!request.isShort && foreign >= 0)
        return notAscii();
    const JsonPlaces strict =
        request.isShort ? JsonPlaces() : readJsonPlaces(places.text, JsonComments::Refused);
    if (!strict.error.isEmpty())
        return refusedText(request, ProblemId::RequestUnreadable,
                           places.lineAndColumn(strict.errorOffset),
                           QStringLiteral("a comment, which only a short request may have"));
    const QString list = request.isShort ? shortkey::images : package::key::chips;
    if (!places.object.value(list).isArray())
        return refusedText(request, ProblemId::RequestUnreadable, places.lineAndColumn(list),
                           QStringLiteral("\"%1\" is not a list").arg(list));
    return std::nullopt;
}

} // namespace

QString RequestFile::ownPlace(const QString &place) const
{
    return isShort ? shortPlace(place) : place;
}

QString RequestFile::where(const QString &place) const
{
    return path + QLatin1Char(':') + places.lineAndColumn(ownPlace(place));
}

QVector<Warning> RequestFile::shown(QVector<Finding> findings, Finding::Severity severity) const
{
    std::stable_sort(findings.begin(), findings.end(), [this](const Finding &a, const Finding &b) {
        return places.offsetOf(ownPlace(a.place)) < places.offsetOf(ownPlace(b.place));
    });
    QVector<Warning> list;
    for (const Finding &finding : findings) {
        const Warning one{finding.name, isShort ? withShortPlaces(finding.text) : finding.text,
                          where(finding.place)};
        // The chip and the image of the long form have the same name in the short one.
        const bool isRepeated = std::any_of(list.begin(), list.end(), [&](const Warning &known) {
            return known.id == one.id && known.text == one.text && known.detail == one.detail;
        });
        if (finding.severity == severity && !isRepeated)
            list.append(one);
    }
    return list;
}

RequestFile readRequest(const QString &path)
{
    RequestFile request;
    request.path = path;
    FileSource file(path);
    if (!file.open()) {
        request.failure = CommandOutcome::failed(ProblemId::FileUnreadable,
                                                 path + QStringLiteral(": ") + file.errorString());
        return request;
    }
    if (file.size() > package::longestShortJson) {
        request.failure = tooLong(path, file.size());
        return request;
    }
    request.places = readJsonPlaces(file.read(0, file.size()), JsonComments::Allowed);
    request.failure = checkText(request);
    if (request.failure)
        return request;
    for (const QString &repeated : qAsConst(request.places.repeated))
        request.findings.append(
            requestError(repeated, QStringLiteral("the key \"%1\" is given twice")
                                       .arg(repeated.section(QLatin1Char('.'), -1))));
    request.description = request.places.text;
    if (!request.isShort)
        return request;
    const LongForm expanded = longForm(request.places.object);
    request.findings += expanded.findings;
    request.description = expanded.json();
    if (request.description.size() > package::longestShortJson)
        request.failure =
            tooLong(path + QStringLiteral(", in its long form"), request.description.size());
    return request;
}
