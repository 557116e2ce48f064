// SPDX-License-Identifier: Apache-2.0
// Stands in where the compiler has no fuzzer of its own: runs a fuzz target over every file of a
// folder, whole, cut anywhere, and with single bytes changed.
#include <QByteArray>
#include <QDirIterator>
#include <QFile>

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

/** Longer seeds are cut and changed in their first bytes only, which keeps the run short. */
constexpr int thoroughBytes = 300;

void run(const QByteArray &bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()),
                           size_t(bytes.size()));
}

int runVariations(const QByteArray &seed)
{
    const int places = qMin(seed.size(), thoroughBytes);
    run(seed);
    for (int place = 0; place < places; ++place) {
        run(seed.left(place));
        for (const int value : {0x00, 0x01, 0x7f, 0x80, 0xff, 0x22, 0x5b, 0x7d}) {
            QByteArray changed = seed;
            changed[place] = char(value);
            run(changed);
        }
    }
    return 1 + places * 9;
}

} // namespace

int main(int argc, char *argv[])
{
    int files = 0;
    int inputs = 0;
    for (int index = 1; index < argc; ++index) {
        QDirIterator folder(QString::fromLocal8Bit(argv[index]), QDir::Files);
        while (folder.hasNext()) {
            QFile file(folder.next());
            if (!file.open(QIODevice::ReadOnly))
                continue;
            ++files;
            inputs += runVariations(file.readAll());
        }
    }
    std::printf("%d seeds, %d inputs\n", files, inputs);
    return files > 0 ? 0 : 1;
}
