// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "load/Percentiles.h"

#include <sys/types.h>

/** The time on a processor of all threads that a process has now, to the nanosecond. */
Nanoseconds processorTime(pid_t pid);
