// SPDX-License-Identifier: Apache-2.0
#include "runtime/StandardError.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace runtime::standardError {

namespace {

LossyWriter *writer = nullptr;

} // namespace

void neverBlock(LossyWriter::LossReport report)
{
    // Never deleted: its thread may wait for a reader when the process ends.
    writer = new LossyWriter(STDERR_FILENO, std::move(report));
}

void write(const QByteArray &text)
{
    if (writer != nullptr)
        writer->write(text);
    else
        std::fwrite(text.constData(), 1, size_t(text.size()), stderr);
}

void flush(std::chrono::milliseconds longest)
{
    if (writer != nullptr)
        writer->flush(longest);
}

} // namespace runtime::standardError
