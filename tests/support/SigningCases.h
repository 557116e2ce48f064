// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/MinisignTool.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>

#include <functional>
#include <vector>

/** Line `number`, from 0, replaced by what `change` makes of it. */
inline QByteArray withLine(const QByteArray &file, int number,
                           const std::function<QByteArray(const QByteArray &line)> &change)
{
    QList<QByteArray> lines = file.split('\n');
    lines[number] = change(lines.at(number));
    return lines.join('\n');
}

/** The base64 line with a bit of its encoded bytes flipped. */
inline QByteArray flipped(const QByteArray &line, int byte, int mask = 1)
{
    QByteArray bytes = QByteArray::fromBase64(line);
    bytes[byte] = char(bytes.at(byte) ^ mask);
    return bytes.toBase64();
}

/** The bytes with the last five changed so that their CRC-32 stays: by its polynomial, least
 *  significant bits first. */
inline QByteArray withSameCrc(QByteArray bytes)
{
    const QByteArray polynomial = QByteArray::fromHex("410671db01");
    const int start = bytes.size() - polynomial.size();
    for (int i = 0; i < polynomial.size(); ++i)
        bytes[start + i] = char(bytes.at(start + i) ^ polynomial.at(i));
    return bytes;
}

/** A package, its signature and the only trusted key, as bytes. */
struct SignedPackage
{
    QByteArray package;
    QByteArray key;
    QByteArray signature;
};

/** A change of one of the three, and the verdict on it. */
struct SigningCase
{
    const char *name;
    std::function<void(SignedPackage &, const MinisignTool &)> change;
    /** "trusted", "unknown-key" or "wrong", or "damaged" for a wrong checksum. */
    const char *state = "wrong";
    /** Of a wrong signature. */
    const char *reason = "";
    /** The program minisign accepts legacy signatures. */
    bool isAccepted = false;
};

/** The signature is made with the key "one" of the tool, which also has the key "other". */
inline std::vector<SigningCase> signingCases()
{
    const auto signature = [](int line, auto change) {
        return [line, change](SignedPackage &files, const MinisignTool &) {
            files.signature = withLine(files.signature, line, change);
        };
    };
    const auto cut = [](int size) {
        return
            [size](SignedPackage &files, const MinisignTool &) { files.signature.truncate(size); };
    };
    return {
        {"as signed", [](auto &, auto &) {}, "trusted", "", true},
        {"CRLF", [](auto &files, auto &) { files.signature.replace("\n", "\r\n"); }, "trusted", "",
         true},
        {"other key", [](auto &files, auto &tool) { files.key = tool.load("other.pub"); },
         "unknown-key"},
        {"other key with the same id",
         [](auto &files, auto &tool) {
             const QByteArray own = QByteArray::fromBase64(files.key.split('\n').at(1));
             files.key = withLine(tool.load("other.pub"), 1, [own](const QByteArray &line) {
                 return (own.left(10) + QByteArray::fromBase64(line).mid(10)).toBase64();
             });
         },
         "wrong", "wrong_signature"},
        {"signature of another file",
         [](auto &files, auto &tool) { files.signature = tool.sign("other", "one", "release 4"); },
         "wrong", "wrong_signature"},
        {"bit of the package",
         [](auto &files, auto &) { files.package[300] = char(files.package[300] ^ 1); }, "damaged"},
        {"package with the same CRC-32",
         [](auto &files, auto &) { files.package = withSameCrc(files.package); }, "wrong",
         "wrong_signature"},
        {"bit of the signature", signature(1, [](auto &line) { return flipped(line, 40); }),
         "wrong", "wrong_signature"},
        {"bit of the key id", signature(1, [](auto &line) { return flipped(line, 5); }),
         "unknown-key"},
        {"bit of the algorithm", signature(1, [](auto &line) { return flipped(line, 0); }), "wrong",
         "malformed"},
        {"trusted comment", signature(2, [](auto &line) { return line + "!"; }), "wrong",
         "wrong_comment"},
        {"bit of the global signature", signature(3, [](auto &line) { return flipped(line, 30); }),
         "wrong", "wrong_comment"},
        {"legacy signature",
         [](auto &files, auto &tool) {
             files.signature = tool.sign(files.package, "one", "release 4", {"-l"});
         },
         "wrong", "legacy", true},
        {"truncated in the signature", cut(60), "wrong", "malformed"},
        {"truncated in the comment", cut(180), "wrong", "malformed"},
        {"empty", cut(0), "wrong", "malformed"},
        {"binary",
         [](auto &files, auto &) { files.signature = QByteArray("\xff\xfe\0\n\x80\n", 6); },
         "wrong", "malformed"},
    };
}

Q_DECLARE_METATYPE(SigningCase)
