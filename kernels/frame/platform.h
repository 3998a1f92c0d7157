// What the compiler must provide, and the few attributes that patterns use.
#pragma once

#ifdef __AVX__
#error "The library promises SSE4.2 and POPCNT and nothing above: compile it without AVX."
#endif
#if !defined(__SSE4_2__) || !defined(__POPCNT__)
#error "Compile with -msse4.2 -mpopcnt: every kernel rests on them."
#endif

// Patterns are inlined whole into the kernel that bears the name, so that a profile or a debugger
// shows colx_ge_le_dict_13bit and not a template instance.
#define COLX_INLINE [[gnu::always_inline]] inline

// Off the hot path: first touch of a compressed column, reports to the host.
#define COLX_COLD [[gnu::cold, gnu::noinline]]

// Where paths meet, the value goes on in a register: what is done with it is not pulled back into
// the paths, where loads could no longer be a part of the instructions that use them.
#define COLX_MEET_IN_REGISTER(value) __asm__("" : "+r"(value))
#define COLX_MEET_IN_VECTOR(value)   __asm__("" : "+x"(value))
