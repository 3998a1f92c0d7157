// The few preconditions that are checked in every build. libc's own assert.h declares its report
// only where NDEBUG is off, and fills in file, line and function by itself; ours are fixed texts.
#pragma once

extern "C" [[noreturn]] void __assert_fail(const char* expression, const char* file, unsigned line,
                                           const char* function) noexcept;
