// A line that is printed if the process dies of a memory fault.
//
// A read past the granted bytes meets an unreadable page and ends the program; the note says which
// kernel and which input it was. Setting it costs one formatted print into a fixed buffer.
#pragma once

namespace colx::test {

void set_crash_note(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace colx::test
