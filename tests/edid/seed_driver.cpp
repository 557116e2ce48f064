// SPDX-License-Identifier: Apache-2.0
#include <QByteArray>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

constexpr int mutantsPerSeed = 200;
constexpr int changesPerMutant = 6;

void runOne(const QByteArray &input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.constData()),
                           std::size_t(input.size()));
}

/** A few bytes changed at random, the same ones in every run. */
QByteArray mutant(QByteArray input, std::mt19937 &random)
{
    for (int i = 0; i < changesPerMutant && !input.isEmpty(); ++i)
        input[int(random() % unsigned(input.size()))] = char(random());
    return input;
}

} // namespace

/** Stands in for the fuzzer where the compiler has none: every seed, and some mutants of each. */
int main(int argc, char *argv[])
{
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable on purpose
    for (int i = 1; i < argc; ++i) {
        QFile file(argv[i]);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", argv[i]);
            return 1;
        }
        const QByteArray seed = file.readAll();
        runOne(seed);
        for (int j = 0; j < mutantsPerSeed; ++j)
            runOne(mutant(seed, random));
    }
    std::printf("%d seeds, %d mutants of each\n", argc - 1, mutantsPerSeed);
    return argc > 1 ? 0 : 1;
}
