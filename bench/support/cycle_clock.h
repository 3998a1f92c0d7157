// Time in ticks of the time stamp counter, and what a tick is worth in core cycles.
#pragma once

#include <cstdint>

namespace colx::bench {

// The counter, read when everything before it is done.
uint64_t ticks_now();

// Measured once, against the system's steady clock.
double nanoseconds_per_tick();

// Core cycles per tick at this moment, from a chain of multiplications of known latency: the core's
// clock moves while the counter's does not. Takes some 0.1 ms.
double cycles_per_tick();

}  // namespace colx::bench
