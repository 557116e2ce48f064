// SPDX-License-Identifier: Apache-2.0
#include "bytes/Blake2b.h"

#include <QtGlobal>

namespace bytes {

namespace {

/** Selects the implementation for this processor. Thread-safe, as every initialization of a local
 *  static variable. */
void startLibrary()
{
    static const int started = sodium_init();
    if (started < 0)
        qFatal("the cryptographic library cannot be initialized");
}

} // namespace

Blake2b::Blake2b()
{
    startLibrary();
    crypto_generichash_blake2b_init(&m_state, nullptr, 0, crypto_generichash_blake2b_BYTES_MAX);
}

void Blake2b::add(const char *bytes, qint64 size)
{
    if (size > 0)
        crypto_generichash_blake2b_update(&m_state, reinterpret_cast<const unsigned char *>(bytes),
                                          quint64(size));
}

QByteArray Blake2b::digest() const
{
    crypto_generichash_blake2b_state last = m_state;
    QByteArray digest(crypto_generichash_blake2b_BYTES_MAX, Qt::Uninitialized);
    crypto_generichash_blake2b_final(&last, reinterpret_cast<unsigned char *>(digest.data()),
                                     size_t(digest.size()));
    return digest;
}

} // namespace bytes
