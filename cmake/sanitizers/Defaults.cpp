// SPDX-License-Identifier: Apache-2.0
// The options of the sanitizers. Compiled in, so that they apply wherever the program runs: under
// ctest, by hand, as the agent in the sandbox. The usual environment variables (ASAN_OPTIONS,
// UBSAN_OPTIONS, TSAN_OPTIONS, LSAN_OPTIONS) still add to it.

namespace {

// No program of the project uses this exit status.
#define REPORT_STATUS "exitcode=86"

} // namespace

extern "C" {

const char *__asan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return REPORT_STATUS ":detect_stack_use_after_return=1:strict_string_checks=1";
}

const char *__ubsan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    return REPORT_STATUS ":print_stacktrace=1";
}

const char *__tsan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    // Qt is not instrumented, so reports about its own code, whose locks are not seen, are
    // meaningless.
    return REPORT_STATUS
        ":halt_on_error=1:ignore_noninstrumented_modules=1:second_deadlock_stack=1";
}

const char *__lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    // The engine lives as long as its process and is not deleted.
    return "leak:WorkerCOM::WorkerCOM\n";
}
}
