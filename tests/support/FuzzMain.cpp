// SPDX-License-Identifier: Apache-2.0
// Stands in where no fuzzer is linked: runs a fuzz target over the files of folders, and over
// mutants of each, the same ones in every run. Arguments: mutants of each file, folders.
#include <QByteArray>
#include <QDirIterator>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size);

namespace {

constexpr int mostChanges = 6;
/** Where most of what decides about an input stands. */
constexpr int headBytes = 64;

using Random = std::minstd_rand;

void run(const QByteArray &bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(bytes.constData()),
                           size_t(bytes.size()));
}

int place(const QByteArray &bytes, Random &random)
{
    const int size = int(bytes.size());
    const int range = random() % 2 == 0 ? std::min(size, headBytes) : size;
    return int(random() % unsigned(range));
}

/** Cut somewhere, or with a few bytes changed. */
QByteArray mutant(QByteArray bytes, Random &random)
{
    if (bytes.isEmpty())
        return bytes;
    if (random() % 4 == 0)
        return bytes.left(place(bytes, random));
    const int changes = 1 + int(random() % mostChanges);
    for (int i = 0; i < changes; ++i) {
        constexpr unsigned char extremes[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
        const bool extreme = random() % 2 == 0;
        bytes[place(bytes, random)] =
            char(extreme ? extremes[random() % std::size(extremes)] : random() & 0xFFU);
    }
    return bytes;
}

} // namespace

int main(int argc, char **argv)
{
    const int mutants = argc > 1 ? std::atoi(argv[1]) : 0;
    int seeds = 0;
    for (int i = 2; i < argc; ++i) {
        QDirIterator files(QFile::decodeName(argv[i]), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (!file.open(QIODevice::ReadOnly)) {
                std::fprintf(stderr, "cannot read %s\n", qPrintable(file.fileName()));
                return 1;
            }
            const QByteArray seed = file.readAll();
            Random random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable on purpose
            run(seed);
            for (int j = 0; j < mutants; ++j)
                run(mutant(seed, random));
            ++seeds;
        }
    }
    std::printf("%d seeds and %d mutants of each\n", seeds, mutants);
    return seeds > 0 ? 0 : 1;
}
