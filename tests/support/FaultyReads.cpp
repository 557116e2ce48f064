// SPDX-License-Identifier: Apache-2.0
#include "support/FaultyReads.h"

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <sys/types.h>

namespace {

std::atomic<FaultyReads *> active{nullptr};

long realRead(int file, void *buffer, unsigned long length, qint64 offset)
{
    using Read = ssize_t (*)(int, void *, size_t, off64_t);
    static const auto read = reinterpret_cast<Read>(::dlsym(RTLD_NEXT, "pread64"));
    return read(file, buffer, length, offset);
}

long anyRead(int file, void *buffer, unsigned long length, qint64 offset)
{
    FaultyReads *faulty = active;
    return faulty != nullptr ? faulty->perform(file, buffer, length, offset)
                             : realRead(file, buffer, length, offset);
}

} // namespace

FaultyReads::FaultyReads()
{
    active = this;
}

FaultyReads::~FaultyReads()
{
    active = nullptr;
}

long FaultyReads::perform(int file, void *buffer, unsigned long length, qint64 offset)
{
    const int number = ++m_reads;
    if (beforeRead)
        beforeRead(number);
    if (interrupted && number % 2 == 1) {
        errno = EINTR;
        return -1;
    }
    if (number == brokenRead || offset >= brokenFrom) {
        errno = EIO;
        return -1;
    }
    const qint64 wanted = std::min({qint64(length), most, brokenFrom - offset});
    const long count = realRead(file, buffer, static_cast<unsigned long>(wanted), offset);
    if (count > 0)
        m_bytes += count;
    return count;
}

// With 64-bit file offsets on a 32-bit machine the first name stands for the second one.
extern "C" ssize_t pread64(int file, void *buffer, size_t length, off64_t offset)
{
    return anyRead(file, buffer, length, offset);
}

#ifndef __USE_FILE_OFFSET64
extern "C" ssize_t pread(int file, void *buffer, size_t length, off_t offset)
{
    return anyRead(file, buffer, length, offset);
}
#endif
