// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace runtime {

/** Returns freed memory to the system; otherwise most of it is kept for later. */
inline void giveBackFreeMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace runtime
