/* The printf format check that matches the C library's printf. MinGW's C99 printf stands in for
 * the system's there (it knows %zu and %lld); its headers name the matching check. */
#pragma once

#include <cstdio> /* the C library's configuration */

#ifdef __MINGW_PRINTF_FORMAT
#define PRINTF_FORMAT(fmt_index, first_arg) __attribute__((format(__MINGW_PRINTF_FORMAT, fmt_index, first_arg)))
#else
#define PRINTF_FORMAT(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#endif
