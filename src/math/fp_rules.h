// The floating-point rules every core file is compiled under, set by the sources themselves
// so that a firmware build with its own flags still gets the same bits: every a * b + c is
// rounded twice, never fused, and every binary64 operation is rounded once. Included first
// by each core .cpp (and by headers with inline arithmetic), before any function is defined.
#pragma once

// Fused multiply-add rounds once where the outputs were tuned with two roundings, and the
// exact two-double sums and products need every product rounded on its own. GCC contracts
// by default in its GNU modes (-std=gnu++20) and wherever -ffp-contract=fast is given; the
// pragma applies to every function defined after it. Clang contracts within an expression
// by default; its pragma undoes that, but clang's -ffp-contract=fast overrides pragmas
// by design, so never pass that to clang.
#if defined(__clang__)
#pragma clang fp contract(off)
#elif defined(__GNUC__) && defined(__thumb2__) && defined(__OPTIMIZE_SIZE__)
// GCC's ARM back end turns shrink-wrapping off for Thumb-2 at -Os, but a function with
// optimize options gets the generic -Os set back: restated, the code stays as small.
#pragma GCC optimize("fp-contract=off", "no-shrink-wrap")
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off")
#else
#pragma STDC FP_CONTRACT OFF
#endif

// The x87 unit of 32-bit x86 keeps intermediates in 80-bit registers and rounds twice,
// which breaks the exact sums and products and with them the same bits on every platform.
#if defined(__i386__) && !defined(__SSE2_MATH__)
#error "vorn needs SSE2 arithmetic on 32-bit x86: build with -msse2 -mfpmath=sse"
#endif

// -ffast-math reorders sums, replaces divisions and assumes no NaN or infinity: none of the
// exact evaluations, and none of the special values the outputs promise, would survive it.
#if defined(__FAST_MATH__)
#error "vorn's core needs IEEE evaluation: build it without -ffast-math"
#endif
