// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtTest>

// Functions of a test class have lambdas that capture helpers of an unnamed namespace. GCC warns of
// that wherever the class is not in the main file, as in a unity build.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wsubobject-linkage"
#endif

// Qt Test's own limit of 5 s is too little on a busy machine. Every wait ends on its condition.
#undef QTRY_VERIFY
#undef QTRY_COMPARE
#define QTRY_VERIFY(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60'000)
#define QTRY_COMPARE(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, 60'000)

/**
 * One test class of a folder's test program, which runs it by the name of its file: 'late' for
 * tst_late.cpp. The further arguments are those of Qt Test.
 */
class TestCase
{
public:
    using Run = int (*)(int argc, char **argv);

    /** `file` is the path of the source. */
    TestCase(const char *file, Run run);
};

namespace tests {

/** Runs the functions of the class and returns how many failed. */
template<typename Class>
int runWithoutApplication(int argc, char **argv)
{
    Class test;
    return QTest::qExec(&test, argc, argv);
}

template<typename Class>
int run(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return runWithoutApplication<Class>(argc, argv);
}

/** The data of a test function: a column of each type, then a row with each call. */
template<typename First, typename... Others>
class DataTable
{
public:
    template<typename... Names>
    explicit DataTable(const char *first, Names... others)
    {
        QTest::addColumn<First>(first);
        (QTest::addColumn<Others>(others), ...);
    }

    void operator()(const char *row, const First &first, const Others &...others) const
    {
        ((QTest::newRow(row) << first) << ... << others);
    }

    /** The row is named like its first value. */
    void operator()(const char *first, const Others &...others) const
    {
        (*this)(first, First(first), others...);
    }
};

} // namespace tests

/** Registers the class with the program. It runs with an event loop of Qt. */
#define AGENT_TEST(Class) static const TestCase testCase(__FILE__, tests::run<Class>);

/** The same for tests that need no event loop, or create one. */
#define AGENT_TEST_WITHOUT_APPLICATION(Class)                                                      \
    static const TestCase testCase(__FILE__, tests::runWithoutApplication<Class>);
