// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <optional>

namespace package {

/** The head of a package: its form and the place of its description. */
struct PackageHeader
{
    enum class Form {
        /** With a leading checksum; the only form that is written and used for upgrades. */
        Current,
        /** Without a checksum; such packages can only be listed. */
        Bare,
    };
    enum class Error {
        None,
        /** Without the magic bytes. */
        NotAPackage,
        /** A package, but of an unknown version, or cut inside its head. */
        BadHead,
    };

    Error error = Error::NotAPackage;
    Form form = Form::Current;
    int version = 0;
    qint64 jsonOffset = 0;
    /** From the head; the file may be shorter. */
    qint64 jsonLength = 0;

    /** The offset of the image records when the head is valid. */
    qint64 recordsOffset() const { return jsonOffset + jsonLength; }
};

PackageHeader readPackageHeader(bytes::ByteSource &source);

/**
 * The package version of the current form, known or not. Needs the first 13 bytes; none when there
 * are fewer or the magic is missing.
 */
std::optional<int> currentFormVersion(const QByteArray &first13);

/** Whether these first bytes are those of a package without a checksum. */
bool isBareForm(const QByteArray &first);

/**
 * The stored description. Truncated if the file is, and empty if its length exceeds
 * package::longestDescription: neither can be parsed.
 */
QByteArray readDescription(bytes::ByteSource &source, const PackageHeader &header);

} // namespace package
