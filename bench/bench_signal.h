// A deterministic room signal for the benchmarks: a day of readings every 3 s with a
// daily temperature and humidity swing, weather-like pressure, and gas resistance that
// drops during VOC events and carries noise. Realistic enough that the IAQ chain sees
// its ordinary mix of rising, falling and steady samples, cheap enough to precompute.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace vorn_bench {

struct Reading {
    float temperature;  // degrees Celsius
    float pressure;     // Pa
    float humidity;     // %
    float gas;          // ohm
};

constexpr int kSamplesPerDay = 28800;  // 3 s apart
constexpr double kTwoPi = 6.283185307179586;

inline std::vector<Reading> makeDay(uint64_t seed = 1) {
    std::vector<Reading> day(kSamplesPerDay);
    uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
    auto uniform = [&state] {  // xorshift64*, in [0, 1)
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>((state * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53;
    };
    double voc = 0.0;
    for (int i = 0; i < kSamplesPerDay; ++i) {
        const double phase = kTwoPi * i / kSamplesPerDay;
        if (uniform() < 0.0005) voc += 200.0 + 800.0 * uniform();  // cooking, cleaning
        voc *= 0.9985;                                             // airing out
        const double t = 22.0 + 2.0 * std::sin(phase);
        const double rh = 45.0 + 10.0 * std::sin(phase + 1.0);
        const double logR = 5.0 - 0.65 * std::log10(1.0 + voc / 40.0) + 0.002 * (uniform() - 0.5);
        day[static_cast<size_t>(i)] = {
            static_cast<float>(t + 0.6), static_cast<float>(98000.0 + 300.0 * std::sin(phase / 3)),
            static_cast<float>(rh), static_cast<float>(std::pow(10.0, logR))};
    }
    return day;
}

}  // namespace vorn_bench
