// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <sodium.h>

namespace bytes {

/** BLAKE2b with a digest of 512 bits (RFC 7693), computed piece by piece. */
class Blake2b
{
public:
    Blake2b();

    void add(const char *bytes, qint64 size);

    /** The digest of all bytes so far, 64 bytes long. More bytes may follow. */
    QByteArray digest() const;

private:
    crypto_generichash_blake2b_state m_state;
};

} // namespace bytes
