// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/RowFields.h"

#include <QString>

#include <array>

namespace package {

/**
 * Which fields of an upgrade row must match a package entry or an image record: eleven flags
 * separated by commas, of which only an exact "1" enables a comparison.
 */
class MatchMask
{
public:
    static constexpr int fieldCount = field::productInfoFlag + 1;

    /** The same as anyVersion(). */
    MatchMask();
    explicit MatchMask(const QString &text);

    /** The chip must be the same, whatever versions it and the package have. */
    static MatchMask anyVersion();
    /** The chip must be the same and older than the package. */
    static MatchMask newerVersion();

    /** Fields are numbered from 0; one outside of the mask is not compared. */
    bool enables(int field) const;
    QString text() const { return m_text; }

private:
    QString m_text;
    std::array<bool, fieldCount> m_enabled{};
};

} // namespace package
