// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files and folders given, where no fuzzing engine is linked.
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size);

namespace {

bool runFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(bytes.constData()),
                           size_t(bytes.size()));
    return true;
}

int runAll(const QString &path)
{
    if (!QFileInfo(path).isDir())
        return runFile(path) ? 1 : 0;
    int count = 0;
    QDirIterator files(path, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext())
        count += runFile(files.next()) ? 1 : 0;
    return count;
}

} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i)
        count += runAll(QFile::decodeName(argv[i]));
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
