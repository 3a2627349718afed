// Fuzz target: the input is a program of library calls with hostile arguments (time
// stamps from the whole 64-bit range, NaN, infinities, denormals, every identifier
// and capacity, real exports mutated or random bytes), interleaved with stretches of
// cooperative operation that reach the learning code. After every call it checks
// the contract a client relies on:
//  - every status belongs to the public set and to the call that returned it;
//  - output records: the reported ones well formed and in ascending identifier
//    order, the rest cleared up to the capacity, nothing touched beyond it;
//  - rejected inputs, rejected subscriptions (except RC_E_REQUIRED_ROOM, which records
//    the subscription by design), blobs refused by their frame, and output resets
//    with an identifier outside 1..4 change nothing observable (both exports and the
//    required-input list);
//  - while every imported blob was the library's own unmodified export of the same
//    kind ("clean"), no output is NaN and each stays in its documented range.
//    Restriction: OUT_COMPENSATED_TEMPERATURE may be +-infinity (never NaN). The
//    self-heating term divides by a polynomial in the time since the previous gas
//    sample that has real roots at the 1 s gas interval (about 0.71 s and -1.46 s),
//    and a zero denominator yields the IEEE result by design. A huge
//    IN_TEMPERATURE_OFFSET alone cannot overflow it: the heating term is bounded far
//    below FLT_MAX, and compensated humidity is clamped to [0, 100].
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
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

struct StoredBlob {
    std::vector<uint8_t> bytes;
    bool configuration;
    bool clean;
};

struct Session {
    FuzzedDataProvider& fdp;
    Driver driver;
    bool clean = true;
    std::vector<StoredBlob> blobs;

    explicit Session(FuzzedDataProvider& provider) : fdp(provider) {}

    int64_t pickTime() {
        const int64_t now = driver.now;
        switch (fdp.ConsumeIntegralInRange<int>(0, 13)) {
            case 0:
                return now;
            case 1:
                return advance(now, fdp.ConsumeIntegralInRange<int64_t>(-kSecond, kSecond));
            case 2:
                return std::numeric_limits<int64_t>::min();
            case 3:
                return std::numeric_limits<int64_t>::max();
            case 4:
                return 0;
            case 5:
                return -1;
            case 6:
                return 1;
            case 7:
                return advance(now, kYear * fdp.ConsumeIntegralInRange<int64_t>(1, 100));
            case 8:
                return advance(now, -kYear * fdp.ConsumeIntegralInRange<int64_t>(1, 100));
            case 9:
                return advance(now, -fdp.ConsumeIntegralInRange<int64_t>(1, 3600 * kSecond));
            case 10:
                return std::numeric_limits<int64_t>::max() -
                       fdp.ConsumeIntegralInRange<int64_t>(0, 10 * kSecond);
            case 11:
                return std::numeric_limits<int64_t>::min() +
                       fdp.ConsumeIntegralInRange<int64_t>(0, 10 * kSecond);
            case 12:
                return advance(now,
                               fdp.ConsumeIntegralInRange<int64_t>(0, 7 * 24 * 3600) * kSecond);
            default:
                return fdp.ConsumeIntegral<int64_t>();
        }
    }

    float pickValue(uint8_t id) {
        const Range r = isInputId(id) ? inputRange(id) : Range{0.0f, 1.0f};
        switch (fdp.ConsumeIntegralInRange<int>(0, 13)) {
            case 0:
                return std::numeric_limits<float>::quiet_NaN();
            case 1:
                return std::numeric_limits<float>::infinity();
            case 2:
                return -std::numeric_limits<float>::infinity();
            case 3:
                return fdp.ConsumeBool() ? std::numeric_limits<float>::denorm_min()
                                         : -std::numeric_limits<float>::denorm_min();
            case 4:
                return fdp.ConsumeBool() ? 0.0f : -0.0f;
            case 5:
                return r.min;
            case 6:
                return r.max;
            case 7:
                return std::nextafter(r.min, -std::numeric_limits<float>::infinity());
            case 8:
                return std::nextafter(r.max, std::numeric_limits<float>::infinity());
            case 9:
                return fdp.ConsumeBool() ? FLT_MAX : -FLT_MAX;
            case 10: {
                const uint32_t bits = fdp.ConsumeIntegral<uint32_t>();
                float v;
                std::memcpy(&v, &bits, sizeof(v));
                return v;
            }
            case 11:
                return r.min + (r.max - r.min) * fdp.ConsumeProbability<float>();
            default:
                return id <= IN_GAS_RESISTANCE && id >= IN_PRESSURE
                           ? plausibleValue(id, fdp.ConsumeIntegral<uint8_t>(), driver.cycle)
                           : static_cast<float>(fdp.ConsumeIntegralInRange<int>(0, 2));
        }
    }

    float pickRate() {
        constexpr std::array<float, 6> kIntervals = {100.0f,  300.0f,   1800.0f,
                                                     6000.0f, 30000.0f, 1500.0f};
        switch (fdp.ConsumeIntegralInRange<int>(0, 11)) {
            case 0:
                return 0.0f;
            case 1:
                return VORN_RATE_DISABLED;
            case 2:
                return std::numeric_limits<float>::quiet_NaN();
            case 3:
                return fdp.ConsumeBool() ? std::numeric_limits<float>::infinity()
                                         : -std::numeric_limits<float>::infinity();
            case 4:
                return fdp.ConsumeBool() ? 10.0f : 0.0016666667f;
            case 5:
                return -fdp.ConsumeProbability<float>();
            case 6: {
                const float base = kIntervals[fdp.ConsumeIntegralInRange<size_t>(0, 5)];
                return 100.0f / (base + static_cast<float>(fdp.ConsumeIntegralInRange<int>(-4, 4)));
            }
            case 7: {
                const uint32_t bits = fdp.ConsumeIntegral<uint32_t>();
                float v;
                std::memcpy(&v, &bits, sizeof(v));
                return v;
            }
            default:
                return 100.0f / kIntervals[fdp.ConsumeIntegralInRange<size_t>(0, 5)];
        }
    }

    uint8_t pickInputId() {
        return fdp.ConsumeBool() ? kInputIds[fdp.ConsumeIntegralInRange<size_t>(0, 7)]
                                 : fdp.ConsumeIntegral<uint8_t>();
    }

    uint8_t pickCapacity() {
        switch (fdp.ConsumeIntegralInRange<int>(0, 3)) {
            case 0:
                return fdp.ConsumeIntegral<uint8_t>();
            case 1:
                return static_cast<uint8_t>(fdp.ConsumeIntegralInRange<int>(0, 3));
            default:
                return 19;
        }
    }

    // ---- The checks on output records ----

    VORN_FUZZ_NO_COVERAGE void checkOutputs(const std::vector<OutputSample>& out, uint8_t capacity,
                                            uint8_t count, int32_t status) {
        FUZZ_CHECK(count <= capacity);
        if (status < 0) FUZZ_CHECK(count == 0);
        if (status >= 0 && capacity == 0) FUZZ_CHECK(status == RC_W_NO_OUTPUT_ROOM);
        if (status == RC_W_OUTPUT_OVERFLOW) FUZZ_CHECK(count == capacity);
        const auto* bytes = reinterpret_cast<const uint8_t*>(out.data());
        uint8_t previousId = 0;
        for (size_t i = 0; i < count; ++i) {
            const OutputSample& o = out[i];
            FUZZ_CHECK(o.dims == 1);
            FUZZ_CHECK(isOutputId(o.id));
            FUZZ_CHECK(o.id > previousId);
            previousId = o.id;
            FUZZ_CHECK(bytes[i * sizeof(OutputSample) + 15] == kCanary);
            const bool iaq = o.id <= OUT_EXPONENTIAL_ESTIMATE || o.id == OUT_GAS_SCALE_PERCENT;
            if (!iaq) FUZZ_CHECK(o.accuracy == 0);
            if (clean) checkCleanValue(o);
        }
        for (size_t i = count; i < capacity; ++i) {
            const uint8_t* rec = bytes + i * sizeof(OutputSample);
            for (size_t b = 0; b < 15; ++b) FUZZ_CHECK(rec[b] == 0);
            FUZZ_CHECK(rec[15] == kCanary);
        }
        for (size_t b = capacity * sizeof(OutputSample); b < out.size() * sizeof(OutputSample);
             ++b) {
            FUZZ_CHECK(bytes[b] == kCanary);
        }
    }

    // Ranges every output keeps while the library runs on its own configuration
    // and state (see the file comment for the compensated temperature).
    VORN_FUZZ_NO_COVERAGE static void checkCleanValue(const OutputSample& o) {
        const float v = o.value;
        FUZZ_CHECK(!std::isnan(v));
        if (o.id != OUT_COMPENSATED_TEMPERATURE) FUZZ_CHECK(std::isfinite(v));
        switch (o.id) {
            case OUT_IAQ_INDEX:
                FUZZ_CHECK(v >= 0.0f && v <= 500.001f);
                FUZZ_CHECK(o.accuracy <= 3);
                break;
            case OUT_IAQ_FIXED_SCALE:
                FUZZ_CHECK(v >= 0.0f);
                FUZZ_CHECK(o.accuracy <= 3);
                break;
            case OUT_LINEAR_ESTIMATE:
                FUZZ_CHECK(v >= 400.0f);
                FUZZ_CHECK(o.accuracy <= 3);
                break;
            case OUT_EXPONENTIAL_ESTIMATE:
                FUZZ_CHECK(v >= 0.1f && v <= 1000.0f);
                FUZZ_CHECK(o.accuracy <= 3);
                break;
            case OUT_GAS_SCALE_PERCENT:
                FUZZ_CHECK(v <= 100.0f);
                FUZZ_CHECK(o.accuracy <= 3);
                break;
            case OUT_ACCUMULATED_TIME_FLAG:
            case OUT_CONTINUOUS_TIME_FLAG:
                FUZZ_CHECK(v == 0.0f || v == 1.0f);
                break;
            case OUT_COMPENSATED_HUMIDITY:
                FUZZ_CHECK(v >= 0.0f && v <= 100.0f);
                break;
            default:
                break;
        }
    }

    VORN_FUZZ_NO_COVERAGE std::vector<OutputSample> outputBuffer(uint8_t capacity) {
        std::vector<OutputSample> out(capacity + kCanaryRecords);
        std::memset(out.data(), kCanary, out.size() * sizeof(OutputSample));
        return out;
    }

    // ---- Operations ----

    void opInit() {
        FUZZ_CHECK(vorn_init() == RC_OK);
        clean = true;
    }

    void opResetOutput() {
        const uint8_t id = fdp.ConsumeIntegral<uint8_t>();
        const bool acts = id >= 1 && id <= 4;
        Snapshot before;
        if (!acts) before = takeSnapshot();
        FUZZ_CHECK(vorn_reset_output(id) == RC_OK);
        if (!acts) FUZZ_CHECK(takeSnapshot() == before);
    }

    void opSubscribe() {
        const size_t n = fdp.ConsumeIntegralInRange<size_t>(0, 16);
        std::vector<SensorRate> requests(n);
        for (auto& r : requests) {
            r.id = fdp.ConsumeBool() ? kOutputIds[fdp.ConsumeIntegralInRange<size_t>(0, 13)]
                                     : fdp.ConsumeIntegral<uint8_t>();
            r.rate_hz = pickRate();
        }
        const uint8_t capacity = pickCapacity();
        std::vector<SensorRate> required(capacity + kCanaryRecords);
        std::memset(required.data(), kCanary, required.size() * sizeof(SensorRate));
        const Snapshot before = takeSnapshot();
        uint8_t count = capacity;
        const SensorRate dummy{};
        const int32_t status = vorn_update_subscription(
            n == 0 ? &dummy : requests.data(), static_cast<uint8_t>(n), required.data(), &count);
        FUZZ_CHECK(isSubscriptionStatus(status));
        FUZZ_CHECK(count == 0 || count == 8);
        const bool trigger =
            n > 0 && (requests[0].id == 1 || requests[0].id == 2) && requests[0].rate_hz == 0.0f;
        if (trigger) {
            FUZZ_CHECK(status == RC_OK || status == RC_W_TRIGGER_UNAVAILABLE ||
                       status == RC_W_TRIGGER_TIMING || status == RC_W_TRIGGER_TOO_SOON);
            FUZZ_CHECK(count == 0);
        }
        if (n == 0) FUZZ_CHECK(status == RC_W_NOTHING_REQUESTED || status < 0);
        if (status == RC_E_REQUIRED_ROOM) FUZZ_CHECK(count == 0 && capacity < 8);
        if (count == 8) checkRequired(required);
        const auto* bytes = reinterpret_cast<const uint8_t*>(required.data());
        for (size_t i = 0; i < required.size(); ++i) {
            const bool written = i < count;
            for (size_t b = written ? 5 : 0; b < sizeof(SensorRate); ++b) {
                FUZZ_CHECK(bytes[i * sizeof(SensorRate) + b] == kCanary);
            }
        }
        if (status < 0 && status != RC_E_REQUIRED_ROOM) FUZZ_CHECK(takeSnapshot() == before);
    }

    VORN_FUZZ_NO_COVERAGE static void checkRequired(const std::vector<SensorRate>& required) {
        for (size_t i = 0; i < 8; ++i) {
            FUZZ_CHECK(required[i].id == kInputIds[i]);
            const float rate = required[i].rate_hz;
            FUZZ_CHECK(rate == VORN_RATE_DISABLED || (rate > 0.0f && std::isfinite(rate)));
        }
    }

    void opSubscribeSensible() {
        struct Plan {
            float rate;
            std::array<uint8_t, 14> ids;
            uint8_t n;
        };
        static constexpr std::array<Plan, 6> kPlans = {{
            {0.33333f, {1, 14, 7, 15, 9, 6, 8, 2, 3, 4}, 10},
            {0.33333f, {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21}, 14},
            {1.0f / 300.0f, {1, 2, 3, 4, 12, 13, 18, 21}, 8},
            {1.0f, {1, 2, 3, 4, 14, 15, 6, 9, 12, 13}, 10},
            {1.0f / 18.0f, {1, 12, 13, 14, 15}, 5},
            {VORN_RATE_DISABLED, {1, 2, 3, 4, 6, 7, 8, 9, 12, 13, 14, 15, 18, 21}, 14},
        }};
        const Plan& plan = kPlans[fdp.ConsumeIntegralInRange<size_t>(0, kPlans.size() - 1)];
        std::array<SensorRate, 14> requests{};
        for (uint8_t i = 0; i < plan.n; ++i) requests[i] = SensorRate{plan.rate, plan.ids[i], {}};
        std::array<SensorRate, 8> required{};
        uint8_t count = 8;
        const int32_t status =
            vorn_update_subscription(requests.data(), plan.n, required.data(), &count);
        FUZZ_CHECK(isSubscriptionStatus(status));
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
        driver.now = t;
        if (fdp.ConsumeBool()) measure(settings, t);
    }

    // Measure what the plan asks for, at the planned time, with plausible values.
    void measure(const SensorSettings& settings, int64_t t) {
        std::array<InputSample, 4> inputs{};
        uint8_t n = 0;
        for (uint8_t id = IN_PRESSURE; id <= IN_GAS_RESISTANCE; ++id) {
            if ((settings.input_mask >> (id - 1) & 1u) == 0) continue;
            inputs[n] = InputSample{
                t, plausibleValue(id, fdp.ConsumeIntegral<uint8_t>(), driver.cycle), 0, id, {}};
            ++n;
        }
        const uint8_t capacity = pickCapacity();
        auto out = outputBuffer(capacity);
        uint8_t count = capacity;
        const int32_t status = vorn_do_steps(inputs.data(), n, out.data(), &count);
        FUZZ_CHECK(status >= 0);
        checkOutputs(out, capacity, count, status);
        if (settings.next_call_ns > t) driver.now = settings.next_call_ns;
    }

    VORN_FUZZ_NO_COVERAGE static int32_t predictRejection(const std::vector<InputSample>& inputs) {
        for (size_t i = 0; i < inputs.size(); ++i) {
            if (!isInputId(inputs[i].id)) return RC_E_INPUT_ID;
            for (size_t j = 0; j < i; ++j) {
                if (inputs[j].id == inputs[i].id) return RC_E_INPUT_DUPLICATE;
            }
            if (!inRange(inputs[i].id, inputs[i].value)) return RC_E_INPUT_RANGE;
        }
        return RC_OK;
    }

    void opDoSteps() {
        const size_t n = fdp.ConsumeIntegralInRange<size_t>(0, 10);
        std::vector<InputSample> inputs(n);
        const bool sameTime = fdp.ConsumeBool();
        const int64_t t = pickTime();
        for (auto& in : inputs) {
            std::memset(&in, kCanary, sizeof(in));
            in.id = pickInputId();
            in.value = pickValue(in.id);
            in.timestamp_ns = sameTime ? t : pickTime();
        }
        const uint8_t capacity = pickCapacity();
        auto out = outputBuffer(capacity);
        const int32_t predicted = predictRejection(inputs);
        Snapshot before;
        if (predicted != RC_OK) before = takeSnapshot();
        uint8_t count = capacity;
        const InputSample dummy{};
        const int32_t status = vorn_do_steps(n == 0 ? &dummy : inputs.data(),
                                             static_cast<uint8_t>(n), out.data(), &count);
        FUZZ_CHECK(isPublicStatus(status));
        FUZZ_CHECK(status == RC_OK || status == predicted || status == RC_W_INPUT_REPEATED ||
                   status == RC_W_NO_OUTPUT_ROOM || status == RC_W_OUTPUT_OVERFLOW);
        FUZZ_CHECK((predicted == RC_OK) == (status >= 0));
        checkOutputs(out, capacity, count, status);
        if (predicted != RC_OK) FUZZ_CHECK(takeSnapshot() == before);
    }

    void opCooperate() {
        const int cycles = fdp.ConsumeIntegralInRange<int>(1, 200);
        const uint8_t shape = fdp.ConsumeIntegral<uint8_t>();
        for (int i = 0; i < cycles; ++i) {
            auto out = outputBuffer(19);
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
        std::vector<uint8_t> blob(capacity, 0);
        std::vector<uint8_t> work(workSize, 0);
        uint32_t size = 0xDEADBEEF;
        const int32_t status =
            configuration
                ? vorn_get_configuration(setId, bytesOf(blob), capacity, bytesOf(work), workSize,
                                         &size)
                : vorn_get_state(setId, bytesOf(blob), capacity, bytesOf(work), workSize, &size);
        FUZZ_CHECK(isExportStatus(status));
        if (setId != 0) FUZZ_CHECK(status == RC_E_SERIALIZE_REQUEST);
        if (status != RC_OK) {
            FUZZ_CHECK(size == 0);
            return;
        }
        FUZZ_CHECK(size <= capacity);
        FUZZ_CHECK(expectedFrameStatus(blob.data(), size, size) == RC_OK);
        blob.resize(size);
        if (blobs.size() >= 4) blobs.erase(blobs.begin());
        blobs.push_back(StoredBlob{blob, configuration, clean});
    }

    std::vector<uint8_t> pickBlob(bool configuration, bool& genuine) {
        genuine = false;
        const int source = fdp.ConsumeIntegralInRange<int>(0, 3);
        if (source == 0 || blobs.empty()) {
            return fdp.ConsumeBytes<uint8_t>(fdp.ConsumeIntegralInRange<size_t>(0, 600));
        }
        const StoredBlob& stored = blobs[fdp.ConsumeIntegralInRange<size_t>(0, blobs.size() - 1)];
        std::vector<uint8_t> blob = stored.bytes;
        if (source == 1) {
            genuine = stored.clean && stored.configuration == configuration;
            return blob;
        }
        // Mutate: flip bytes, cut or extend, then maybe repair the frame.
        const int flips = fdp.ConsumeIntegralInRange<int>(0, 4);
        for (int i = 0; i < flips && !blob.empty(); ++i) {
            blob[fdp.ConsumeIntegralInRange<size_t>(0, blob.size() - 1)] ^=
                fdp.ConsumeIntegral<uint8_t>();
        }
        if (fdp.ConsumeBool()) {
            blob.resize(fdp.ConsumeIntegralInRange<size_t>(0, blob.size() + 64),
                        fdp.ConsumeIntegral<uint8_t>());
        }
        switch (fdp.ConsumeIntegralInRange<int>(0, 2)) {
            case 1:
                refreshCrc(blob);
                break;
            case 2:
                refreshFrame(blob);
                break;
            default:
                break;
        }
        return blob;
    }

    void opImport() {
        const bool configuration = fdp.ConsumeBool();
        bool genuine = false;
        std::vector<uint8_t> blob = pickBlob(configuration, genuine);
        const uint32_t size = static_cast<uint32_t>(blob.size());
        uint32_t workSize = size;
        if (fdp.ConsumeBool()) workSize = fdp.ConsumeIntegralInRange<uint32_t>(0, 700);
        std::vector<uint8_t> work(workSize, fdp.ConsumeIntegral<uint8_t>());
        const int32_t frame = expectedFrameStatus(blob.data(), size, workSize);
        Snapshot before;
        if (frame != RC_OK) before = takeSnapshot();
        const int32_t status =
            configuration ? vorn_set_configuration(bytesOf(blob), size, bytesOf(work), workSize)
                          : vorn_set_state(bytesOf(blob), size, bytesOf(work), workSize);
        FUZZ_CHECK(isImportStatus(status));
        if (frame != RC_OK) {
            FUZZ_CHECK(status == frame);
            FUZZ_CHECK(takeSnapshot() == before);
            return;
        }
        if (genuine) FUZZ_CHECK(status == RC_OK);
        clean = clean && genuine;
    }

    void run() {
        while (fdp.remaining_bytes() > 0) {
            switch (fdp.ConsumeIntegralInRange<int>(0, 11)) {
                case 0:
                    opInit();
                    break;
                case 1:
                    opResetOutput();
                    break;
                case 2:
                    opSubscribe();
                    break;
                case 3:
                    opSubscribeSensible();
                    break;
                case 4:
                case 5:
                    opSensorControl();
                    break;
                case 6:
                    opDoSteps();
                    break;
                case 7:
                    opCooperate();
                    break;
                case 8:
                    opExport();
                    break;
                case 9:
                    opImport();
                    break;
                case 10: {
                    VersionInfo v{};
                    FUZZ_CHECK(vorn_get_version(&v) == RC_OK);
                    FUZZ_CHECK(v.major == 1 && v.minor == 4 && v.patch == 7 && v.build == 4);
                    break;
                }
                default:
                    opDoSteps();
                    break;
            }
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider fdp(data, size);
    vorn_init();
    Session session(fdp);
    session.run();
    return 0;
}
