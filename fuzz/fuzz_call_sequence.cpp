// Fuzz target: a program of library calls with hostile arguments (any 64-bit time,
// NaN, infinities, denormals, every identifier and capacity, real exports mutated or
// random bytes), interleaved with cooperative stretches that reach the learning code.
// After every call: statuses belong to the call's public set; reported output records
// are well formed and ascending, the rest cleared up to the capacity and nothing
// touched beyond it; rejected inputs, rejected subscriptions (but RC_E_REQUIRED_ROOM,
// which records the subscription by design), frame-refused blobs and resets of
// identifiers outside 1..4 change nothing observable; and while every import was the
// library's own unmodified export of that kind ("clean"), outputs stay in range and
// never NaN. Exception: OUT_COMPENSATED_TEMPERATURE may be +-infinity: the
// self-heating term divides by a polynomial in the time since the previous gas sample
// with real roots near the 1 s gas interval (about 0.71 s and -1.46 s), and a zero
// denominator yields the IEEE result by design. A huge IN_TEMPERATURE_OFFSET alone
// cannot overflow it, and compensated humidity is clamped to [0, 100].
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <vector>

#include "fuzz_driver.h"
#include "fuzz_support.h"

namespace {

using namespace vorn_fuzz;

constexpr uint8_t kCanary = 0xA5;
constexpr size_t kCanaryRecords = 2;
constexpr int64_t kSecond = 1'000'000'000;
constexpr int64_t kYear = 365LL * 24 * 3600 * kSecond;
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr float kInf = std::numeric_limits<float>::infinity();

// Documented range of each output while the library runs on its own configuration
// and state.
struct OutputRange {
    uint8_t id;
    float min, max;
};
constexpr OutputRange kOutputRanges[] = {
    {OUT_IAQ_INDEX, 0.0f, 500.001f},           {OUT_IAQ_FIXED_SCALE, 0.0f, FLT_MAX},
    {OUT_LINEAR_ESTIMATE, 400.0f, FLT_MAX},    {OUT_EXPONENTIAL_ESTIMATE, 0.1f, 1000.0f},
    {OUT_GAS_SCALE_PERCENT, -FLT_MAX, 100.0f}, {OUT_ACCUMULATED_TIME_FLAG, 0.0f, 1.0f},
    {OUT_CONTINUOUS_TIME_FLAG, 0.0f, 1.0f},    {OUT_COMPENSATED_HUMIDITY, 0.0f, 100.0f},
};

struct StoredBlob {
    std::vector<uint8_t> bytes;
    bool configuration, clean;
};

float floatFromBits(uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof(v));
    return v;
}

template <typename T>
std::vector<T> canaryBuffer(size_t capacity) {
    std::vector<T> v(capacity + kCanaryRecords);
    std::memset(static_cast<void*>(v.data()), kCanary, v.size() * sizeof(T));
    return v;
}

struct Session {
    FuzzedDataProvider& fdp;
    Driver driver;
    bool clean = true;
    std::vector<StoredBlob> blobs;

    template <typename T>
    T pick(std::initializer_list<T> options) {
        return options.begin()[fdp.ConsumeIntegralInRange<size_t>(0, options.size() - 1)];
    }

    // Mostly near the current time (a second either way, years either way, up to an
    // hour back, up to a week on), else the ends of the range or anything at all.
    int64_t pickTime() {
        struct Jump {
            int64_t unit, lo, hi;
        };
        static constexpr Jump kJumps[] = {{1, -kSecond, kSecond},
                                          {kYear, -100, 100},
                                          {1, -3600 * kSecond, -1},
                                          {kSecond, 0, 604800}};
        const int64_t now = driver.client.now();
        const size_t kind = fdp.ConsumeIntegralInRange<size_t>(0, 5);
        if (kind < 4) {
            const Jump& j = kJumps[kind];
            return vorn_test::wrapAdd(now,
                                      j.unit * fdp.ConsumeIntegralInRange<int64_t>(j.lo, j.hi));
        }
        if (kind == 5) return fdp.ConsumeIntegral<int64_t>();
        const int64_t near = fdp.ConsumeIntegralInRange<int64_t>(0, 10 * kSecond);
        return pick<int64_t>({now, kMin, kMax, 0, -1, 1, kMax - near, kMin + near});
    }

    float pickValue(uint8_t id) {
        const Range r = inMask(kInputMask, id) ? inputRange(id) : Range{0.0f, 1.0f};
        const float tiny = std::numeric_limits<float>::denorm_min();
        const int kind = fdp.ConsumeIntegralInRange<int>(0, 4);
        if (kind == 0) {
            return pick<float>({std::nanf(""), kInf, -kInf, tiny, -tiny, 0.0f, -0.0f, FLT_MAX,
                                -FLT_MAX, r.min, r.max, std::nextafter(r.min, -kInf),
                                std::nextafter(r.max, kInf)});
        }
        if (kind == 1) return floatFromBits(fdp.ConsumeIntegral<uint32_t>());
        if (kind == 2) return r.min + (r.max - r.min) * fdp.ConsumeProbability<float>();
        return id >= IN_PRESSURE && id <= IN_GAS_RESISTANCE
                   ? plausibleReading(fdp.ConsumeIntegral<uint8_t>(), driver.cycle).value(id)
                   : static_cast<float>(fdp.ConsumeIntegralInRange<int>(0, 2));
    }

    // Mostly the allowed intervals (in units of 10 ms), sometimes a few units off them.
    float pickRate() {
        const float interval = pick<float>({100.0f, 300.0f, 1800.0f, 6000.0f, 30000.0f, 1500.0f});
        const int kind = fdp.ConsumeIntegralInRange<int>(0, 5);
        if (kind == 0) {
            return pick<float>({0.0f, VORN_RATE_DISABLED, std::nanf(""), kInf, -kInf, 10.0f,
                                0.0016666667f, -fdp.ConsumeProbability<float>()});
        }
        if (kind == 1) return floatFromBits(fdp.ConsumeIntegral<uint32_t>());
        if (kind == 2)
            return 100.0f / (interval + static_cast<float>(fdp.ConsumeIntegralInRange<int>(-4, 4)));
        return 100.0f / interval;
    }

    uint8_t pickCapacity() {
        const int kind = fdp.ConsumeIntegralInRange<int>(0, 3);
        return kind == 0   ? fdp.ConsumeIntegral<uint8_t>()
               : kind == 1 ? fdp.ConsumeIntegralInRange<uint8_t>(0, 3)
                           : 19;
    }

    VORN_FUZZ_NO_COVERAGE void checkOutputs(const std::vector<OutputSample>& out, uint8_t capacity,
                                            uint8_t count, int32_t status) const {
        FUZZ_CHECK(count <= capacity);
        if (status < 0) FUZZ_CHECK(count == 0);
        if (status >= 0 && capacity == 0) FUZZ_CHECK(status == RC_W_NO_OUTPUT_ROOM);
        if (status == RC_W_OUTPUT_OVERFLOW) FUZZ_CHECK(count == capacity);
        const auto* bytes = reinterpret_cast<const uint8_t*>(out.data());
        uint8_t previousId = 0;
        for (size_t i = 0; i < count; ++i) {
            const OutputSample& o = out[i];
            FUZZ_CHECK(o.dims == 1 && inMask(kOutputMask, o.id) && o.id > previousId);
            FUZZ_CHECK(bytes[i * sizeof(OutputSample) + 15] == kCanary);  // padding untouched
            previousId = o.id;
            const bool iaq = o.id <= OUT_EXPONENTIAL_ESTIMATE || o.id == OUT_GAS_SCALE_PERCENT;
            FUZZ_CHECK(iaq || o.accuracy == 0);
            if (!clean) continue;
            FUZZ_CHECK(o.accuracy <= 3 && !std::isnan(o.value));
            if (o.id != OUT_COMPENSATED_TEMPERATURE) FUZZ_CHECK(std::isfinite(o.value));
            if (o.id == OUT_ACCUMULATED_TIME_FLAG || o.id == OUT_CONTINUOUS_TIME_FLAG)
                FUZZ_CHECK(o.value == 0.0f || o.value == 1.0f);
            for (const OutputRange& r : kOutputRanges) {
                if (r.id == o.id) FUZZ_CHECK(o.value >= r.min && o.value <= r.max);
            }
        }
        for (size_t b = count * sizeof(OutputSample); b < out.size() * sizeof(OutputSample); ++b) {
            const bool cleared =
                b < capacity * sizeof(OutputSample) && b % sizeof(OutputSample) != 15;
            FUZZ_CHECK(bytes[b] == (cleared ? 0 : kCanary));
        }
    }

    void opResetOutput() {
        const uint8_t id = fdp.ConsumeIntegral<uint8_t>();
        FUZZ_CHECK(unchangedIf(id < 1 || id > 4, [&] { return vorn_reset_output(id); }) == RC_OK);
    }

    void opSubscribe() {
        std::vector<SensorRate> requests(fdp.ConsumeIntegralInRange<size_t>(0, 16));
        for (auto& r : requests) {
            r.id = fdp.ConsumeBool() ? kOutputIds[fdp.ConsumeIntegralInRange<size_t>(0, 13)]
                                     : fdp.ConsumeIntegral<uint8_t>();
            r.rate_hz = pickRate();
        }
        const size_t n = requests.size();
        const uint8_t capacity = pickCapacity();
        auto required = canaryBuffer<SensorRate>(capacity);
        const Snapshot before = takeSnapshot();
        uint8_t count = capacity;
        const SensorRate dummy{};
        const int32_t status = vorn_update_subscription(
            n == 0 ? &dummy : requests.data(), static_cast<uint8_t>(n), required.data(), &count);
        FUZZ_CHECK(isSubscriptionStatus(status));
        FUZZ_CHECK(count == 0 || count == 8);
        if (n > 0 && requests[0].id <= 2 && requests[0].id >= 1 && requests[0].rate_hz == 0.0f) {
            FUZZ_CHECK(oneOf(status, {RC_OK, RC_W_TRIGGER_UNAVAILABLE, RC_W_TRIGGER_TIMING,
                                      RC_W_TRIGGER_TOO_SOON}));
            FUZZ_CHECK(count == 0);
        }
        if (n == 0) FUZZ_CHECK(status == RC_W_NOTHING_REQUESTED || status < 0);
        if (status == RC_E_REQUIRED_ROOM) FUZZ_CHECK(count == 0 && capacity < 8);
        const auto* bytes = reinterpret_cast<const uint8_t*>(required.data());
        for (size_t i = 0; i < required.size(); ++i) {
            if (i < count) {
                const float rate = required[i].rate_hz;
                FUZZ_CHECK(required[i].id == kInputIds[i]);
                FUZZ_CHECK(rate == VORN_RATE_DISABLED || (rate > 0.0f && std::isfinite(rate)));
            }
            for (size_t b = i < count ? 5 : 0; b < sizeof(SensorRate); ++b)
                FUZZ_CHECK(bytes[i * sizeof(SensorRate) + b] == kCanary);
        }
        if (status < 0 && status != RC_E_REQUIRED_ROOM) FUZZ_CHECK(takeSnapshot() == before);
    }

    // A subscription a real client makes: the host's outputs or all of them at a rate
    // the library allows, or everything off.
    void opSubscribeSensible() {
        const bool host = fdp.ConsumeBool();
        const float rate = pick<float>(
            {vorn_test::kRate3s, vorn_test::kRate300s, 1.0f, 1.0f / 18.0f, VORN_RATE_DISABLED});
        FUZZ_CHECK(
            isSubscriptionStatus(host ? vorn_test::subscribeAll(vorn_test::kHostOutputs, rate)
                                      : vorn_test::subscribeAll(vorn_test::kAllOutputs, rate)));
    }

    void opSensorControl() {
        const int64_t t = pickTime();
        SensorSettings settings;
        std::memset(&settings, kCanary, sizeof(settings));
        const int32_t status = vorn_sensor_control(t, &settings);
        FUZZ_CHECK(status == RC_OK || status == RC_W_CALL_TIME_DEVIATION);
        FUZZ_CHECK((settings.input_mask & ~kInputMask) == 0);
        FUZZ_CHECK(settings.gas_enable <= 1 && settings.measure_now <= 1);
        FUZZ_CHECK(settings.gas_enable == ((settings.input_mask >> 3) & 1u));
        driver.client.setNow(t);
        if (!fdp.ConsumeBool()) return;
        // Measure what the plan asks for, at the planned time, with plausible values.
        vorn_test::Inputs in;
        vorn_test::measure(settings, t,
                           plausibleReading(fdp.ConsumeIntegral<uint8_t>(), driver.cycle), in);
        const uint8_t capacity = pickCapacity();
        auto out = canaryBuffer<OutputSample>(capacity);
        uint8_t count = capacity;
        const int32_t steps = vorn_do_steps(in.samples.data(), in.n, out.data(), &count);
        FUZZ_CHECK(steps >= 0);
        checkOutputs(out, capacity, count, steps);
        if (settings.next_call_ns > t) driver.client.setNow(settings.next_call_ns);
    }

    // The first refusal the checks must find in these inputs, in the library's order.
    VORN_FUZZ_NO_COVERAGE static int32_t predictRejection(const std::vector<InputSample>& inputs) {
        for (size_t i = 0; i < inputs.size(); ++i) {
            if (!inMask(kInputMask, inputs[i].id)) return RC_E_INPUT_ID;
            for (size_t j = 0; j < i; ++j) {
                if (inputs[j].id == inputs[i].id) return RC_E_INPUT_DUPLICATE;
            }
            if (!inRange(inputs[i].id, inputs[i].value)) return RC_E_INPUT_RANGE;
        }
        return RC_OK;
    }

    void opDoSteps() {
        std::vector<InputSample> inputs(fdp.ConsumeIntegralInRange<size_t>(0, 10));
        const bool sameTime = fdp.ConsumeBool();
        const int64_t t = pickTime();
        for (auto& in : inputs) {
            std::memset(&in, kCanary, sizeof(in));
            in.id = fdp.ConsumeBool() ? kInputIds[fdp.ConsumeIntegralInRange<size_t>(0, 7)]
                                      : fdp.ConsumeIntegral<uint8_t>();
            in.value = pickValue(in.id);
            in.timestamp_ns = sameTime ? t : pickTime();
        }
        const uint8_t capacity = pickCapacity();
        auto out = canaryBuffer<OutputSample>(capacity);
        const int32_t predicted = predictRejection(inputs);
        uint8_t count = capacity;
        const InputSample dummy{};
        const int32_t status = unchangedIf(predicted != RC_OK, [&] {
            return vorn_do_steps(inputs.empty() ? &dummy : inputs.data(),
                                 static_cast<uint8_t>(inputs.size()), out.data(), &count);
        });
        FUZZ_CHECK(
            status == predicted ||
            oneOf(status, {RC_OK, RC_W_INPUT_REPEATED, RC_W_NO_OUTPUT_ROOM, RC_W_OUTPUT_OVERFLOW}));
        FUZZ_CHECK((predicted == RC_OK) == (status >= 0));
        checkOutputs(out, capacity, count, status);
    }

    void opCooperate() {
        const int cycles = fdp.ConsumeIntegralInRange<int>(1, 200);
        const uint8_t shape = fdp.ConsumeIntegral<uint8_t>();
        for (int i = 0; i < cycles; ++i) {
            auto out = canaryBuffer<OutputSample>(19);
            uint8_t count = 19;
            const int32_t status = driver.runCycle(shape, out.data(), count);
            checkOutputs(out, 19, count, status);
        }
    }

    void opExport() {
        const bool configuration = fdp.ConsumeBool();
        const uint8_t setId = fdp.ConsumeBool() ? 0 : fdp.ConsumeIntegral<uint8_t>();
        const uint32_t capacity =
            fdp.ConsumeBool() ? 600 : fdp.ConsumeIntegralInRange<uint32_t>(0, 600);
        const uint32_t workSize =
            fdp.ConsumeBool() ? 300 : fdp.ConsumeIntegralInRange<uint32_t>(0, 300);
        std::vector<uint8_t> blob(capacity, 0), work(workSize, 0);
        uint32_t size = 0xDEADBEEF;
        const auto get = configuration ? vorn_get_configuration : vorn_get_state;
        const int32_t status = get(setId, bytesOf(blob), capacity, bytesOf(work), workSize, &size);
        FUZZ_CHECK(isExportStatus(status));
        if (setId != 0) FUZZ_CHECK(status == RC_E_SERIALIZE_REQUEST);
        if (status != RC_OK) {
            FUZZ_CHECK(size == 0);
            return;
        }
        FUZZ_CHECK(size <= capacity && expectedFrameStatus(blob.data(), size, size) == RC_OK);
        blob.resize(size);
        if (blobs.size() >= 4) blobs.erase(blobs.begin());
        blobs.push_back(StoredBlob{blob, configuration, clean});
    }

    // A blob to import: random bytes, a stored export as it is, or one mutated (bytes
    // flipped, cut or extended, then maybe the frame repaired).
    std::vector<uint8_t> pickBlob(bool configuration, bool& genuine) {
        genuine = false;
        const int source = fdp.ConsumeIntegralInRange<int>(0, 3);
        if (source == 0 || blobs.empty())
            return fdp.ConsumeBytes<uint8_t>(fdp.ConsumeIntegralInRange<size_t>(0, 600));
        const StoredBlob& stored = blobs[fdp.ConsumeIntegralInRange<size_t>(0, blobs.size() - 1)];
        std::vector<uint8_t> blob = stored.bytes;
        if (source == 1) {
            genuine = stored.clean && stored.configuration == configuration;
            return blob;
        }
        for (int i = fdp.ConsumeIntegralInRange<int>(0, 4); i > 0 && !blob.empty(); --i)
            blob[fdp.ConsumeIntegralInRange<size_t>(0, blob.size() - 1)] ^=
                fdp.ConsumeIntegral<uint8_t>();
        if (fdp.ConsumeBool())
            blob.resize(fdp.ConsumeIntegralInRange<size_t>(0, blob.size() + 64),
                        fdp.ConsumeIntegral<uint8_t>());
        const int repair = fdp.ConsumeIntegralInRange<int>(0, 2);
        if (repair != 0) refreshFrame(blob, repair == 2);
        return blob;
    }

    void opImport() {
        const bool configuration = fdp.ConsumeBool();
        bool genuine = false;
        std::vector<uint8_t> blob = pickBlob(configuration, genuine);
        const uint32_t size = static_cast<uint32_t>(blob.size());
        const uint32_t workSize =
            fdp.ConsumeBool() ? fdp.ConsumeIntegralInRange<uint32_t>(0, 700) : size;
        std::vector<uint8_t> work(workSize, fdp.ConsumeIntegral<uint8_t>());
        const int32_t frame = expectedFrameStatus(blob.data(), size, workSize);
        const auto kind =
            configuration ? vorn_test::BlobKind::Configuration : vorn_test::BlobKind::State;
        const int32_t status = unchangedIf(frame != RC_OK, [&] {
            return vorn_test::importRaw(kind, bytesOf(blob), size, bytesOf(work), workSize);
        });
        FUZZ_CHECK(isImportStatus(status));
        FUZZ_CHECK(frame == RC_OK ? !genuine || status == RC_OK : status == frame);
        clean = clean && (genuine || frame != RC_OK);
    }

    void opInit() {
        FUZZ_CHECK(vorn_init() == RC_OK);
        clean = true;
    }

    void run() {
        using Op = void (Session::*)();
        static constexpr Op kOps[] = {&Session::opInit,          &Session::opResetOutput,
                                      &Session::opSubscribe,     &Session::opSubscribeSensible,
                                      &Session::opSensorControl, &Session::opSensorControl,
                                      &Session::opCooperate,     &Session::opExport,
                                      &Session::opImport,        &Session::opDoSteps,
                                      &Session::opDoSteps};
        while (fdp.remaining_bytes() > 0)
            (this->*kOps[fdp.ConsumeIntegralInRange<size_t>(0, std::size(kOps) - 1)])();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider fdp(data, size);
    vorn_init();
    Session{fdp}.run();
    return 0;
}
