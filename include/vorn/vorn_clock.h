/*
 * vorn_clock: the library's time stamps from a 32-bit millisecond tick.
 *
 * Firmware clocks are usually a uint32_t millisecond tick (HAL_GetTick, a FreeRTOS
 * tick count at configTICK_RATE_HZ 1000, ...) that wraps to 0 every 49.7 days. Handed
 * on as tick * 1000000, the time would jump back at the wrap, and vorn_sensor_control
 * would treat every call as too early until the tick caught up again, 49.7 days later.
 * vorn_clock_ns extends the tick into a monotonic int64_t nanosecond time stamp for
 * vorn_sensor_control and vorn_do_steps. Header only (static inline): nothing is added
 * to the library. Valid C99 and C++.
 */
#ifndef VORN_VORN_CLOCK_H
#define VORN_VORN_CLOCK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The state of one clock, owned by the caller. Start it zeroed (static storage, or
 * VornClock clk = {0, 0};): the first vorn_clock_ns then returns 1 ms.
 */
typedef struct VornClock {
    int64_t elapsed_ms; /**< ms since the first call, plus 1; 0 before the first call */
    uint32_t last_tick; /**< the tick of the previous call */
} VornClock;

/**
 * The time stamp, in ns, of tick_ms: 1 ms at the first call, then advancing by the
 * ticks elapsed since the previous call, across any number of wraps, as long as calls
 * are less than 2^32 ms (49.7 days) apart. Never 0 (0 means "no sample yet" to the
 * library) and never decreasing; it would overflow only after 292 years. Call it from
 * one context at a time (the one that calls the library).
 */
static inline int64_t vorn_clock_ns(VornClock* clk, uint32_t tick_ms) {
    const uint32_t step = tick_ms - clk->last_tick; /* modulo 2^32: right across a wrap */
    clk->elapsed_ms = clk->elapsed_ms == 0 ? 1 : clk->elapsed_ms + step;
    clk->last_tick = tick_ms;
    return clk->elapsed_ms * INT64_C(1000000);
}

#ifdef __cplusplus
}
#endif

#endif /* VORN_VORN_CLOCK_H */
