// Checks the library's own single-precision functions against a reference for every
// binary32 input (or every stride-th one): the reference is the exact value in extended
// precision, rounded to float, with MPFR deciding the inputs whose extended result lies
// too close to a rounding boundary to tell. Prints the inputs checked and the mismatches
// per function, and exits non-zero on any mismatch. Not a unit test: a full run takes
// minutes per function.
//   check_math [--stride N] [function ...]
#include <mpfr.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "math/elementary.h"
#include "math/f32.h"

namespace {

using Ours = float (*)(float);
using Extended = long double (*)(long double);
using Exact = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);

struct Function {
    const char* name;
    Ours ours;
    Extended extended;  // within a few units of 2^-64 of the exact value
    Exact exact;        // MPFR, correctly rounded
};

int mpfrCube(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
    return mpfr_pow_ui(r, x, 3, rnd);
}
int mpfrFourth(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
    return mpfr_pow_ui(r, x, 4, rnd);
}
int mpfrRound(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t) {
    return mpfr_round(r, x);
}
int mpfrExp10(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
    return mpfr_exp10(r, x, rnd);
}

const Function kFunctions[] = {
    {"sqrt", vorn::f32::sqrt, [](long double x) { return sqrtl(x); }, mpfr_sqrt},
    {"cube", vorn::f32::cube, [](long double x) { return x * x * x; }, mpfrCube},
    {"fourth", vorn::f32::fourth, [](long double x) { return (x * x) * (x * x); }, mpfrFourth},
    {"round", vorn::f32::round, [](long double x) { return roundl(x); }, mpfrRound},
    {"exp", vorn::elementary::exp, [](long double x) { return expl(x); }, mpfr_exp},
    {"exp10", vorn::elementary::exp10, [](long double x) { return exp10l(x); }, mpfrExp10},
    {"log", vorn::elementary::log, [](long double x) { return logl(x); }, mpfr_log},
    {"log10", vorn::elementary::log10, [](long double x) { return log10l(x); }, mpfr_log10},
    {"sin", vorn::elementary::sin, [](long double x) { return sinl(x); }, mpfr_sin},
};

// The correctly rounded float of f(x), from MPFR with binary32's precision and range.
float exactly(const Function& f, float x) {
    mpfr_set_emin(-148);
    mpfr_set_emax(128);
    mpfr_t in, out;
    mpfr_inits2(24, in, out, static_cast<mpfr_ptr>(nullptr));
    mpfr_set_flt(in, x, MPFR_RNDN);
    const int inexact = f.exact(out, in, MPFR_RNDN);
    mpfr_subnormalize(out, mpfr_check_range(out, inexact, MPFR_RNDN), MPFR_RNDN);
    const float result = mpfr_get_flt(out, MPFR_RNDN);
    mpfr_clears(in, out, static_cast<mpfr_ptr>(nullptr));
    return result;
}

// The reference: the extended result rounded to float, unless it lies within 2^-60 of
// its own size from the midpoint between two floats, where MPFR decides.
float reference(const Function& f, float x) {
    const long double r = f.extended(x);
    const float rounded = static_cast<float>(r);
    if (!std::isfinite(r) || r == 0.0L) return rounded;
    const float other = std::nextafter(rounded, r > rounded ? INFINITY : -INFINITY);
    const long double midpoint = (static_cast<long double>(rounded) + other) / 2.0L;
    if (std::fabs(r - midpoint) > std::ldexp(std::fabs(r), -60)) return rounded;
    return exactly(f, x);
}

bool same(float a, float b) {
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (a != a && b != b);
}

struct Tally {
    std::atomic<uint64_t> checked{0}, mismatches{0};
};

void checkPart(const Function& f, uint64_t first, uint64_t stride, uint64_t step, Tally& tally) {
    uint64_t checked = 0, mismatches = 0;
    for (uint64_t i = first; i <= UINT32_MAX; i += stride * step) {
        const float x = std::bit_cast<float>(static_cast<uint32_t>(i));
        const float ours = f.ours(x), want = reference(f, x);
        ++checked;
        if (!same(ours, want) && ++mismatches <= 5) {
            std::printf("  %s(%a) = %a, correctly rounded %a\n", f.name, static_cast<double>(x),
                        static_cast<double>(ours), static_cast<double>(want));
        }
    }
    tally.checked += checked;
    tally.mismatches += mismatches;
}

}  // namespace

int main(int argc, char** argv) {
    uint64_t stride = 1;
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--stride") == 0 && i + 1 < argc) {
            stride = std::strtoull(argv[++i], nullptr, 10);
        } else {
            wanted.emplace_back(argv[i]);
        }
    }
    if (stride == 0) {
        std::fprintf(stderr, "check_math: --stride must be a positive whole number\n");
        return 2;
    }
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    uint64_t failures = 0;
    for (const Function& f : kFunctions) {
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), f.name) == wanted.end()) {
            continue;
        }
        Tally tally;
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < threads; ++t) {
            workers.emplace_back(checkPart, std::cref(f), t * stride, stride, uint64_t{threads},
                                 std::ref(tally));
        }
        for (std::thread& w : workers) w.join();
        std::printf("%-8s %11llu inputs checked, %llu mismatches\n", f.name,
                    static_cast<unsigned long long>(tally.checked.load()),
                    static_cast<unsigned long long>(tally.mismatches.load()));
        failures += tally.mismatches;
    }
    return failures == 0 ? 0 : 1;
}
