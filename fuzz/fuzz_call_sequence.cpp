// Fuzz target: library calls with hostile arguments (any time, value, identifier, rate or
// capacity) between cooperative stretches that reach the learning code. After every call
// the status is one of the call's, output records are well formed and in their documented
// ranges, and nothing past the capacity is touched; a refused call changes nothing (but
// RC_E_REQUIRED_ROOM, which records the subscription by design). The compensated
// temperature may be infinite: the self-heating term has a pole near a 0.71 s gas spacing.
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <span>

#include "fuzz_support.h"

namespace {

using namespace vorn_fuzz;
using vorn_test::kSecond;

constexpr uint8_t kCanary = 0xA5;
constexpr float kInf = std::numeric_limits<float>::infinity();

template <typename T>  // room for `capacity` records and two more, all canary
std::vector<T> canaryBuffer(size_t capacity) {
    std::vector<T> v(capacity + 2);
    std::memset(static_cast<void*>(v.data()), kCanary, v.size() * sizeof(T));
    return v;
}

// The documented range of each output (id, lowest, highest).
constexpr float kOutputRanges[][3] = {
    {OUT_IAQ_INDEX, 0.0f, 500.001f},           {OUT_IAQ_FIXED_SCALE, 0.0f, FLT_MAX},
    {OUT_LINEAR_ESTIMATE, 400.0f, FLT_MAX},    {OUT_EXPONENTIAL_ESTIMATE, 0.1f, 1000.0f},
    {OUT_GAS_SCALE_PERCENT, -FLT_MAX, 100.0f}, {OUT_ACCUMULATED_TIME_FLAG, 0.0f, 1.0f},
    {OUT_CONTINUOUS_TIME_FLAG, 0.0f, 1.0f},    {OUT_COMPENSATED_HUMIDITY, 0.0f, 100.0f},
};

const vorn::InputRow* inputRow(uint8_t id) {
    return vorn::isInputId(id) ? &vorn::kInputTable[vorn::inputIndex(id)] : nullptr;
}

// The library's own verdict on these inputs, in the order it checks them.
VORN_FUZZ_NO_COVERAGE int32_t predictRejection(const std::vector<InputSample>& inputs) {
    for (size_t i = 0; i < inputs.size(); ++i) {
        const vorn::InputRow* row = inputRow(inputs[i].id);
        if (row == nullptr) return RC_E_INPUT_ID;
        for (size_t j = 0; j < i; ++j)
            if (inputs[j].id == inputs[i].id) return RC_E_INPUT_DUPLICATE;
        if (!(inputs[i].value >= row->min && inputs[i].value <= row->max)) return RC_E_INPUT_RANGE;
    }
    return RC_OK;
}

struct Session {
    FuzzedDataProvider& fdp;
    Driver driver;

    template <typename T>
    T pick(std::initializer_list<T> options) {
        return options.begin()[fdp.ConsumeIntegralInRange<size_t>(0, options.size() - 1)];
    }
    template <typename Table>  // mostly a row's identifier, else any byte
    uint8_t pickId(const Table& rows) {
        const auto row = fdp.ConsumeIntegralInRange<size_t>(0, rows.size() - 1);
        return fdp.ConsumeBool() ? static_cast<uint8_t>(rows[row].id)
                                 : fdp.ConsumeIntegral<uint8_t>();
    }
    uint8_t pickCapacity() { return fdp.ConsumeBool() ? 19 : fdp.ConsumeIntegralInRange(0, 20); }
    float anyFloat() { return std::bit_cast<float>(fdp.ConsumeIntegral<uint32_t>()); }

    // Mostly near the client's clock (a second either way, up to a week on), else anything.
    int64_t pickTime() {
        const int64_t now = driver.client.now();
        const int kind = fdp.ConsumeIntegralInRange(0, 3);
        if (kind == 0)
            return vorn_test::wrapAdd(now, fdp.ConsumeIntegralInRange(-kSecond, kSecond));
        if (kind == 1)
            return vorn_test::wrapAdd(now, fdp.ConsumeIntegralInRange(0, 604800) * kSecond);
        return kind == 2 ? pick<int64_t>({0, -1, INT64_MIN, INT64_MAX})
                         : fdp.ConsumeIntegral<int64_t>();
    }

    // The ends of the accepted range and just past them, special values, or anything.
    float pickValue(uint8_t id) {
        const vorn::InputRow* row = inputRow(id);
        const float lo = row ? row->min : 0.0f, hi = row ? row->max : 1.0f;
        const int kind = fdp.ConsumeIntegralInRange(0, 3);
        if (kind == 0) return lo + (hi - lo) * fdp.ConsumeProbability<float>();
        return kind == 1 ? anyFloat()
                         : pick<float>({std::nanf(""), kInf, -kInf, FLT_TRUE_MIN, -0.0f, lo, hi,
                                        std::nextafter(lo, -kInf), std::nextafter(hi, kInf)});
    }

    // Mostly an allowed interval (in 10 ms units), sometimes a few units off, or anything.
    float pickRate() {
        const float interval = pick<float>({100, 300, 1500, 1800, 6000, 30000});
        const int kind = fdp.ConsumeIntegralInRange(0, 3);
        if (kind == 0) return pick<float>({0.0f, VORN_RATE_DISABLED, std::nanf(""), kInf, -1.0f});
        if (kind == 1) return anyFloat();
        return 100.0f / (interval + (kind == 2 ? fdp.ConsumeIntegralInRange(-4, 4) : 0));
    }

    VORN_FUZZ_NO_COVERAGE void checkOutputs(const std::vector<OutputSample>& out, uint8_t capacity,
                                            uint8_t count, int32_t status) const {
        FUZZ_CHECK(isStepStatus(status) && count <= capacity && (status >= 0 || count == 0));
        if (status >= 0 && capacity == 0) FUZZ_CHECK(status == RC_W_NO_OUTPUT_ROOM);
        if (status == RC_W_OUTPUT_OVERFLOW) FUZZ_CHECK(count == capacity);
        const auto* bytes = reinterpret_cast<const uint8_t*>(out.data());
        for (size_t i = 0; i < count; ++i) {
            const OutputSample& o = out[i];
            FUZZ_CHECK(o.dims == 1 && vorn::isOutputId(o.id) && (i == 0 || o.id > out[i - 1].id));
            FUZZ_CHECK(bytes[i * sizeof(OutputSample) + 15] == kCanary);  // padding untouched
            FUZZ_CHECK(o.accuracy <= 3 && !std::isnan(o.value));
            if (o.id != OUT_COMPENSATED_TEMPERATURE) FUZZ_CHECK(std::isfinite(o.value));
            for (const auto& [id, lowest, highest] : kOutputRanges)
                if (id == o.id) FUZZ_CHECK(o.value >= lowest && o.value <= highest);
        }
        for (size_t b = count * sizeof(OutputSample); b < out.size() * sizeof(OutputSample); ++b) {
            const bool cleared =
                b < capacity * sizeof(OutputSample) && b % sizeof(OutputSample) != 15;
            FUZZ_CHECK(bytes[b] == (cleared ? 0 : kCanary));
        }
    }

    void subscribe() {
        std::vector<SensorRate> requests(fdp.ConsumeIntegralInRange(0, 16));
        for (SensorRate& r : requests) r = {pickRate(), pickId(vorn::kOutputTable), {}};
        const uint8_t capacity = pickCapacity();
        auto required = canaryBuffer<SensorRate>(capacity);
        const vorn_test::Bytes before = snapshot();
        uint8_t count = capacity;
        const SensorRate none{};
        const int32_t status = vorn_update_subscription(requests.empty() ? &none : requests.data(),
                                                        static_cast<uint8_t>(requests.size()),
                                                        required.data(), &count);
        FUZZ_CHECK(isSubscriptionStatus(status) && (count == 0 || count == 8));
        if (status < 0 && status != RC_E_REQUIRED_ROOM) FUZZ_CHECK(snapshot() == before);
        FUZZ_CHECK(std::all_of(required.begin() + count, required.end(),
                               [](SensorRate r) { return r.id == kCanary; }));
    }

    void cooperate() {
        if (fdp.ConsumeBool()) {  // what real clients subscribe: the host's outputs or all
            const float rate = pick<float>(
                {vorn_test::kRate3s, vorn_test::kRate300s, 1.0f, 1.0f / 18.0f, VORN_RATE_DISABLED});
            FUZZ_CHECK(isSubscriptionStatus(vorn_test::subscribeAll(
                fdp.ConsumeBool() ? std::span<const uint8_t>(vorn_test::kHostOutputs)
                                  : vorn_test::kAllOutputs,
                rate)));
        }
        if (fdp.ConsumeBool()) driver.client.setNow(pickTime());
        const uint8_t shape = fdp.ConsumeIntegral<uint8_t>();
        for (int i = fdp.ConsumeIntegralInRange(1, 200); i > 0; --i) {
            const uint8_t capacity = pickCapacity();
            auto out = canaryBuffer<OutputSample>(capacity);
            uint8_t count = capacity;
            const int32_t status = driver.run(shape, out.data(), count);
            checkOutputs(out, capacity, count, status);
        }
    }

    void doSteps() {
        std::vector<InputSample> inputs(fdp.ConsumeIntegralInRange(0, 10));
        const int64_t t = pickTime();
        const bool sameTime = fdp.ConsumeBool();
        for (InputSample& in : inputs) {
            std::memset(&in, kCanary, sizeof(in));
            in.id = pickId(vorn::kInputTable);
            in.value = pickValue(in.id);
            in.timestamp_ns = sameTime ? t : pickTime();
        }
        const uint8_t capacity = pickCapacity();
        auto out = canaryBuffer<OutputSample>(capacity);
        const int32_t predicted = predictRejection(inputs);
        uint8_t count = capacity;
        const InputSample none{};
        const int32_t status = unchangedIf(predicted != RC_OK, [&] {
            return vorn_do_steps(inputs.empty() ? &none : inputs.data(),
                                 static_cast<uint8_t>(inputs.size()), out.data(), &count);
        });
        FUZZ_CHECK(predicted == RC_OK ? status >= 0 : status == predicted);
        checkOutputs(out, capacity, count, status);
    }

    void init() { FUZZ_CHECK(vorn_init() == RC_OK); }

    void run() {
        using Op = void (Session::*)();
        static constexpr Op kOps[] = {&Session::init, &Session::subscribe, &Session::cooperate,
                                      &Session::doSteps, &Session::doSteps};
        while (fdp.remaining_bytes() > 0) (this->*kOps[fdp.ConsumeIntegralInRange<size_t>(0, 4)])();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider fdp(data, size);
    vorn_init();
    Session{fdp}.run();
    return 0;
}
