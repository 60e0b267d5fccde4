/* Compiler-specific annotations of the portable headers. */
#pragma once

/* printf-style argument checking of a function whose format is argument fmt_index and whose
 * variable arguments start at first_arg (1-based). MinGW's GCC checks against its own printf
 * (gnu_printf: %zu, %lld) rather than the Microsoft one; compilers without GCC attributes check
 * nothing. */
#if defined(__GNUC__) || defined(__clang__)
#if defined(__MINGW32__) && !defined(__clang__)
#define SERVO_PRINTF_FORMAT(fmt_index, first_arg) __attribute__((format(gnu_printf, fmt_index, first_arg)))
#else
#define SERVO_PRINTF_FORMAT(fmt_index, first_arg) __attribute__((format(printf, fmt_index, first_arg)))
#endif
#else
#define SERVO_PRINTF_FORMAT(fmt_index, first_arg)
#endif
