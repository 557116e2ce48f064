// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"

#include <QFileInfo>
#include <QMap>

#include <cstdio>

namespace {

/** Filled before main(), so it cannot be a variable of this file. */
QMap<QString, TestCase::Run> &testCases()
{
    static QMap<QString, TestCase::Run> cases;
    return cases;
}

} // namespace

TestCase::TestCase(const char *file, Run run)
{
    const QString name = QFileInfo(QString::fromLocal8Bit(file)).completeBaseName();
    testCases().insert(name.mid(static_cast<int>(qstrlen("tst_"))), run);
}

/** PROGRAM NAME [ARGUMENT OF QT TEST]... */
int main(int argc, char **argv)
{
    const TestCase::Run run =
        testCases().value(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString());
    if (run == nullptr) {
        const QStringList names = testCases().keys();
        std::fprintf(stderr, "usage: %s %s [ARGUMENT OF QT TEST]...\n", argv[0],
                     qPrintable(names.join(QLatin1Char('|'))));
        return 2;
    }
    // ctest ends what hangs, and takes into account how slow the build is. Qt Test does not.
    if (qEnvironmentVariableIsEmpty("QTEST_FUNCTION_TIMEOUT"))
        qputenv("QTEST_FUNCTION_TIMEOUT", "86400000");
    argv[1] = argv[0];
    return run(argc - 1, argv + 1);
}
