// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "load/Percentiles.h"

#include <sys/types.h>

/** The processor time of all current threads of a process, in nanoseconds. */
Nanoseconds processorTime(pid_t pid);
