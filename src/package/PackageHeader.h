// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <optional>

namespace package {

/** The head of a package: which form it has and where its description is. */
struct PackageHeader
{
    enum class Form {
        /** With a checksum in front; the only form that is written and upgraded from. */
        Current,
        /** Without a checksum; such packages can only be listed. */
        Bare,
    };
    enum class Error {
        None,
        /** No magic bytes: something else altogether. */
        NotAPackage,
        /** A package, but of an unknown version, or cut inside its head. */
        BadHead,
    };

    Error error = Error::NotAPackage;
    Form form = Form::Current;
    int version = 0;
    qint64 jsonOffset = 0;
    /** As the head claims; the file may be shorter. */
    qint64 jsonLength = 0;

    /** Where the image records begin when the head is right. */
    qint64 recordsOffset() const { return jsonOffset + jsonLength; }
};

PackageHeader readPackageHeader(bytes::ByteSource &source);

/**
 * The package version of the current form, whether it is a known one or not. Needs the first 13
 * bytes; nothing when they are not all there or have no magic.
 */
std::optional<int> currentFormVersion(const QByteArray &first13);

/** Whether a file that begins so is a package without a checksum. */
bool isBareForm(const QByteArray &first);

/**
 * The description as it is stored. Shorter than claimed when the file is, and empty when it claims
 * to be absurdly long (package::longestDescription): neither can be parsed then.
 */
QByteArray readDescription(bytes::ByteSource &source, const PackageHeader &header);

} // namespace package
