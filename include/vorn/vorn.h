/*
 * vorn: sensor fusion for gsx410 metal-oxide gas sensors.
 *
 * The public C interface: the records exchanged with the library, the input and
 * output identifiers, the status codes and the ten exported operations. Valid C99
 * and C++. The library keeps everything in one static instance: there are no
 * handles, no allocation, no threads. Call every operation from one thread, one
 * call at a time.
 *
 * Calling order: vorn_init once; optionally vorn_set_configuration and
 * vorn_set_state to restore saved data; vorn_update_subscription to choose outputs
 * and rates; then for every measurement vorn_sensor_control at the time it last
 * returned in next_call_ns, measure what input_mask asks for, and vorn_do_steps
 * with those samples; vorn_get_state whenever the learnt state is to be saved.
 *
 * An operation called before the first vorn_init finds the library built from its
 * defaults, as if vorn_init had come first. No operation reads or writes through a
 * null pointer: each says below what it does with one.
 */
#ifndef VORN_VORN_H
#define VORN_VORN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(VORN_BUILDING_LIBRARY) && defined(__GNUC__)
#define VORN_API __attribute__((visibility("default")))
#else
#define VORN_API
#endif

/* Compile-time layout checks that work in C99 as well as C++. */
#ifdef __cplusplus
#define VORN_STATIC_ASSERT(cond, name) static_assert(cond, #name)
#else
#define VORN_STATIC_ASSERT(cond, name) typedef char vorn_assert_##name[(cond) ? 1 : -1]
#endif
#define VORN_OFFSET_OF(type, field) offsetof(type, field)

/* ---- Records (little-endian, natural alignment; offsets are part of the ABI) ---- */

/** One measured value handed to vorn_do_steps. */
typedef struct InputSample {
    int64_t timestamp_ns; /**< time of the sample, ns; avoid 0, which means "no sample yet" */
    float value;          /**< value in the unit of its input (see vorn_input_id) */
    uint8_t dims;         /**< not read by the library */
    uint8_t id;           /**< input identifier (vorn_input_id) */
    uint8_t reserved[2];  /**< not read */
} InputSample;

/** One result written by vorn_do_steps. */
typedef struct OutputSample {
    int64_t timestamp_ns; /**< time stamp of the input sample the value derives from */
    float value;          /**< output value */
    uint8_t dims;         /**< always 1 */
    uint8_t id;           /**< output identifier (vorn_output_id) */
    uint8_t accuracy;     /**< 0..3 for the IAQ outputs, 0 for every other output */
    uint8_t reserved;     /**< never written */
} OutputSample;

/** A requested output rate, or a required input rate (vorn_update_subscription). */
typedef struct SensorRate {
    float rate_hz;       /**< Hz; 65535.0 = disabled; 0.0 for outputs 1/2 = on-demand trigger */
    uint8_t id;          /**< output identifier (requests) or input identifier (requirements) */
    uint8_t reserved[3]; /**< not read, not written */
} SensorRate;

/** The measurement plan returned by vorn_sensor_control. */
typedef struct SensorSettings {
    int64_t next_call_ns;          /**< when to call vorn_sensor_control again, ns */
    uint32_t input_mask;           /**< bit (id - 1) set for every input to measure now */
    uint16_t heater_temperature_c; /**< gas heater target temperature, degrees Celsius */
    uint16_t heater_duration_ms;   /**< gas heater on-time, ms */
    uint8_t gas_enable;            /**< 1 when a gas measurement is to run */
    uint8_t pressure_os;           /**< pressure oversampling setting */
    uint8_t temperature_os;        /**< temperature oversampling setting */
    uint8_t humidity_os;           /**< humidity oversampling setting */
    uint8_t measure_now;           /**< 1 when a measurement is to be triggered now */
    uint8_t reserved[3];           /**< not written */
} SensorSettings;

/** Library version, reported by vorn_get_version. */
typedef struct VersionInfo {
    uint8_t major;
    uint8_t minor;
    uint8_t patch;
    uint8_t build;
} VersionInfo;

VORN_STATIC_ASSERT(sizeof(InputSample) == 16, input_sample_size);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(InputSample, value) == 8, input_sample_value);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(InputSample, dims) == 12, input_sample_dims);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(InputSample, id) == 13, input_sample_id);
VORN_STATIC_ASSERT(sizeof(OutputSample) == 16, output_sample_size);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(OutputSample, value) == 8, output_sample_value);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(OutputSample, dims) == 12, output_sample_dims);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(OutputSample, id) == 13, output_sample_id);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(OutputSample, accuracy) == 14, output_sample_accuracy);
VORN_STATIC_ASSERT(sizeof(SensorRate) == 8, sensor_rate_size);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorRate, id) == 4, sensor_rate_id);
VORN_STATIC_ASSERT(sizeof(SensorSettings) == 24, sensor_settings_size);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, input_mask) == 8, settings_input_mask);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, heater_temperature_c) == 12, settings_heater_t);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, heater_duration_ms) == 14, settings_heater_d);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, gas_enable) == 16, settings_gas_enable);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, pressure_os) == 17, settings_pressure_os);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, temperature_os) == 18, settings_temp_os);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, humidity_os) == 19, settings_humidity_os);
VORN_STATIC_ASSERT(VORN_OFFSET_OF(SensorSettings, measure_now) == 20, settings_measure_now);
VORN_STATIC_ASSERT(sizeof(VersionInfo) == 4, version_info_size);

/* ---- Identifiers ---- */

/** Input identifiers (InputSample.id, bit id - 1 of SensorSettings.input_mask). */
enum vorn_input_id {
    IN_PRESSURE = 1,            /**< ambient pressure, Pa; accepted 0 .. 2e6 */
    IN_HUMIDITY = 2,            /**< relative humidity, %; accepted 0 .. 100 */
    IN_TEMPERATURE = 3,         /**< temperature, degrees Celsius; accepted -65 .. 125 */
    IN_GAS_RESISTANCE = 4,      /**< gas sensor resistance, ohm; accepted 170 .. 1.32e7 */
    IN_TEMPERATURE_OFFSET = 14, /**< degrees Celsius subtracted from the compensated temperature */
    IN_MOD_HEATING_FLAG = 22,   /**< 1.0 after an on-demand trigger; written by vorn_sensor_control */
    IN_BASELINE_INDEX = 23,     /**< baseline event kind: 0 (or below 1) none, 1 or 2 a hold-off */
    IN_PROCESSING_INHIBIT = 24  /**< while non-zero only pass-through outputs are produced; 0 .. 9 */
};

/** Output identifiers (SensorRate.id of a request, OutputSample.id). */
enum vorn_output_id {
    OUT_IAQ_INDEX = 1,                /**< indoor-air-quality index 0..500, accuracy 0..3 */
    OUT_IAQ_FIXED_SCALE = 2,          /**< fixed-scale index, bounded below only, accuracy 0..3 */
    OUT_LINEAR_ESTIMATE = 3,          /**< piecewise-linear estimate of output 2, accuracy 0..3 */
    OUT_EXPONENTIAL_ESTIMATE = 4,     /**< exponential estimate of output 2, accuracy 0..3 */
    OUT_PASSTHROUGH_TEMPERATURE = 6,  /**< the IN_TEMPERATURE value */
    OUT_PASSTHROUGH_PRESSURE = 7,     /**< the IN_PRESSURE value */
    OUT_PASSTHROUGH_HUMIDITY = 8,     /**< the IN_HUMIDITY value */
    OUT_PASSTHROUGH_GAS = 9,          /**< the IN_GAS_RESISTANCE value */
    OUT_ACCUMULATED_TIME_FLAG = 12,   /**< 0/1: accumulated operating time reached */
    OUT_CONTINUOUS_TIME_FLAG = 13,    /**< 0/1: uninterrupted operating time reached */
    OUT_COMPENSATED_TEMPERATURE = 14, /**< temperature corrected for self-heating, degrees Celsius */
    OUT_COMPENSATED_HUMIDITY = 15,    /**< relative humidity at the compensated temperature, % */
    OUT_COMPENSATED_LOG_GAS = 18,     /**< humidity-compensated log10 of the gas resistance */
    OUT_GAS_SCALE_PERCENT = 21        /**< position between the slow baseline bounds, %, accuracy 0..3 */
};

/* ---- Status codes: 0 success, negative error, positive warning ---- */

enum vorn_status {
    RC_OK = 0,                         /**< success */
    RC_E_INPUT_ID = -1,                /**< input identifier outside the input set */
    RC_E_INPUT_RANGE = -2,             /**< input value outside its range, or not a number */
    RC_E_INPUT_DUPLICATE = -6,         /**< the same input identifier twice in one call */
    RC_E_RATE_ZERO = -10,              /**< rate 0.0 outside the on-demand trigger form */
    RC_E_RATE_NOT_ALLOWED = -12,       /**< the rate matches none of the output's allowed intervals */
    RC_E_OUTPUT_DUPLICATE = -13,       /**< the same output identifier twice in one request */
    RC_E_RATE_RANGE = -14,             /**< rate above 10 Hz or below 1/600 Hz and not 65535.0 */
    RC_E_REQUIRED_ROOM = -15,          /**< the required-input array holds fewer than 8 records */
    RC_E_INTERVAL_NOT_MULTIPLE = -16,  /**< intervals not multiples of the shortest one */
    RC_E_GAS_INTERVAL_CONFLICT = -17,  /**< gas-dependent outputs requested at different intervals */
    RC_E_INTERVAL_TOO_SHORT = -18,     /**< an interval shorter than one measurement takes */
    RC_E_SECTION_TOO_LARGE = -32,      /**< a blob section is longer than the work buffer */
    RC_E_SERIALIZE_REQUEST = -33,      /**< blob capacity below 24 (config) / 25 (state), or set id != 0 */
    RC_E_BLOB_VERSION = -34,           /**< the blob's version word does not match */
    RC_E_BLOB_KIND = -35,              /**< the blob's kind field does not match */
    RC_E_BLOB_CRC = -36,               /**< the blob's checksum does not match */
    RC_E_BLOB_TOO_SHORT = -37,         /**< the blob is shorter than 24 bytes */
    RC_E_WORK_BUFFER_SMALL = -38,      /**< the blob or a section is larger than the work buffer */
    RC_E_BLOB_LENGTH = -40,            /**< stated length disagrees with the size, or a section runs past the payload */
    RC_E_BLOB_OVERFLOW = -41,          /**< the blob capacity is too small for what is to be written */
    RC_E_SECTION_UNKNOWN = -100,       /**< a section names an unknown owner, or the wrong one */
    RC_E_SECTION_SHORT = -104,         /**< a section is shorter than its header or its fields */
    RC_W_NO_OUTPUT_ROOM = 2,           /**< the output capacity passed was 0 */
    RC_W_OUTPUT_OVERFLOW = 3,          /**< more outputs than the output array holds; the rest dropped */
    RC_W_INPUT_REPEATED = 4,           /**< an input repeated its previous time stamp; it was not taken */
    RC_W_OUTPUT_ID_IGNORED = 10,       /**< a request with an unknown output identifier was skipped */
    RC_W_TRIGGER_UNAVAILABLE = 11,     /**< trigger asked for while neither output 1 nor 2 runs at 1/300 Hz */
    RC_W_NOTHING_REQUESTED = 12,       /**< the request list was empty */
    RC_W_CALL_TIME_DEVIATION = 100,    /**< called more than 1/16 interval before or after the planned time */
    RC_W_TRIGGER_TIMING = 101,         /**< trigger refused: next call not 60..240 s after the last regular gas sample */
    RC_W_TRIGGER_TOO_SOON = 102        /**< trigger refused: next call less than 60 s after the last on-demand sample */
};

/** Rate meaning "disabled" in SensorRate.rate_hz. */
#define VORN_RATE_DISABLED 65535.0f

/* ---- Operations ---- */

/**
 * Report the library version. Returns RC_OK. Touches no state; may be
 * called at any time, also before vorn_init.
 */
VORN_API int32_t vorn_get_version(VersionInfo* version);

/**
 * Build the library instance from its defaults, discarding all learnt state,
 * configuration and subscription. Call once before anything else; may be called
 * again at any time to start over. Returns RC_OK.
 */
VORN_API int32_t vorn_init(void);

/**
 * Discard what the IAQ chain has learnt (baseline bands, track statuses, held
 * indices) when id is OUT_IAQ_INDEX .. OUT_EXPONENTIAL_ESTIMATE (1..4); any other id
 * changes nothing. Any of the four resets the whole chain, and so every output
 * derived from it. Always returns RC_OK.
 */
VORN_API int32_t vorn_reset_output(uint8_t id);

/**
 * Request outputs at rates (Hz), and learn the rate each input must be supplied at.
 *
 * requested/n_requested: the requests. A first record {OUT_IAQ_INDEX or
 * OUT_IAQ_FIXED_SCALE, 0.0} is an on-demand trigger request instead (all other
 * records ignored; answers 0, RC_W_TRIGGER_UNAVAILABLE, RC_W_TRIGGER_TIMING or
 * RC_W_TRIGGER_TOO_SOON; *n_required set to 0). 65535.0 unsubscribes an output.
 * required/n_required: in: capacity (at least 8), out: records written (0 or 8):
 * one record per input (1, 2, 3, 4, 14, 22, 23, 24) holding 100 / interval for the
 * shortest interval any subscribed output needs from it (so 1/3 Hz is answered as
 * 100/300 = 0.33333334f whatever rate within tolerance was asked), or 65535.0.
 * A rate that is not a number is out of range (RC_E_RATE_RANGE).
 *
 * Returns RC_OK, RC_W_OUTPUT_ID_IGNORED, RC_W_NOTHING_REQUESTED, RC_E_RATE_ZERO,
 * RC_E_RATE_RANGE, RC_E_RATE_NOT_ALLOWED, RC_E_OUTPUT_DUPLICATE,
 * RC_E_INTERVAL_NOT_MULTIPLE, RC_E_GAS_INTERVAL_CONFLICT, RC_E_INTERVAL_TOO_SHORT
 * (the last set wins) or RC_E_REQUIRED_ROOM. An error other than
 * RC_E_REQUIRED_ROOM leaves the subscription unchanged; RC_E_REQUIRED_ROOM records
 * the subscription but writes no requirement. The change takes effect at the next
 * vorn_sensor_control or at the end of the next vorn_do_steps.
 * A null requested counts as an empty list; a null required or n_required as no
 * room (RC_E_REQUIRED_ROOM, the subscription still recorded).
 */
VORN_API int32_t vorn_update_subscription(const SensorRate* requested, uint8_t n_requested,
                                          SensorRate* required, uint8_t* n_required);

/**
 * Process one step: validate all inputs, store them, run every channel that is due
 * and return the subscribed outputs that received a new value, in ascending
 * identifier order.
 *
 * inputs/n_inputs: the samples (may be 0). outputs/n_outputs: in: capacity in
 * records, out: records written. The first *n_outputs records are cleared first.
 *
 * Returns RC_OK; RC_E_INPUT_ID, RC_E_INPUT_DUPLICATE or RC_E_INPUT_RANGE (a value
 * outside its range, or not a number: NaN is rejected so that one glitching
 * reading cannot poison the learnt state) with *n_outputs = 0 and the instance
 * untouched; or the warnings RC_W_INPUT_REPEATED (that sample is ignored),
 * RC_W_NO_OUTPUT_ROOM, RC_W_OUTPUT_OVERFLOW (the last set wins).
 * A null inputs with n_inputs > 0 is refused with RC_E_INPUT_ID; a null outputs or
 * n_outputs counts as capacity 0 (the step runs, RC_W_NO_OUTPUT_ROOM).
 */
VORN_API int32_t vorn_do_steps(const InputSample* inputs, uint8_t n_inputs, OutputSample* outputs,
                               uint8_t* n_outputs);

/**
 * Plan the next measurement. Call at the time returned in the previous
 * settings->next_call_ns (the first call at any time), then measure the inputs of
 * settings->input_mask with the heater and oversampling settings given.
 *
 * Returns RC_OK, or RC_W_CALL_TIME_DEVIATION when called more than 1/16 of the
 * interval away from the planned time: if too early, only next_call_ns is filled
 * (the planned time) and nothing changes; if too late, the plan proceeds from now.
 * When the gas interval has no heater profile (for example gas outputs at 1/18 Hz),
 * heater_temperature_c and heater_duration_ms are reported as 0 for a regular gas
 * measurement. Note that at 1/18 Hz the schedule leaves a 30 s gap in the gas
 * samples every 300 s, longer than the 27 s continuity limit, so
 * OUT_CONTINUOUS_TIME_FLAG falls back to 0 every 300 s at that rate.
 * After an accepted on-demand trigger the heater on-time follows the time since the
 * previous gas sample (446 ms right after it, 1131 ms after 60 s, 1800 ms after
 * 240 s, 0 from about 450 s on; never negative, saturating at 65535).
 * Time stamps may take any int64 value: differences and next_call_ns are computed
 * modulo 2^64, which equals the plain result whenever that fits, so a clock that
 * wraps keeps its schedule. But 0 is the library's "no sample yet": after vorn_init
 * an input sample stamped 0 repeats it and is not taken (vorn_do_steps answers
 * RC_W_INPUT_REPEATED), so start the clock at 1 ns or later (vorn_clock.h extends a
 * 32-bit millisecond tick that way). A null settings changes nothing and returns
 * RC_W_CALL_TIME_DEVIATION.
 */
VORN_API int32_t vorn_sensor_control(int64_t time_ns, SensorSettings* settings);

/**
 * Import a configuration blob (see vorn_get_configuration). work/work_size: a
 * scratch buffer at least as large as the blob (454 bytes for the default set).
 *
 * Returns RC_OK; frame errors RC_E_BLOB_TOO_SHORT, RC_E_WORK_BUFFER_SMALL,
 * RC_E_BLOB_VERSION, RC_E_BLOB_KIND, RC_E_BLOB_LENGTH, RC_E_BLOB_CRC (checked in this
 * order; nothing changes); section errors RC_E_SECTION_TOO_LARGE, RC_E_BLOB_LENGTH
 * (a section running past the payload), RC_E_SECTION_UNKNOWN, RC_E_SECTION_SHORT
 * (a section shorter than its header or its fields). Sections are applied in blob
 * order: on a section error the sections before it stay applied and the failing
 * section's owner is untouched. A configuration with a hyper section re-requests
 * every output at its default interval (by default: unsubscribes all), so
 * subscribe after importing a configuration. Its values are applied as read, with
 * no check for sense. A null blob gives RC_E_BLOB_TOO_SHORT, a null work
 * RC_E_WORK_BUFFER_SMALL; nothing changes then.
 */
VORN_API int32_t vorn_set_configuration(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                        uint32_t work_size);

/**
 * Import a state blob (see vorn_get_state). Same codes and partial-import rules as
 * vorn_set_configuration; work must hold the blob (139 bytes for the default set).
 */
VORN_API int32_t vorn_set_state(const uint8_t* blob, uint32_t blob_size, uint8_t* work,
                                uint32_t work_size);

/**
 * Export the configuration as a blob (454 bytes with the default set).
 * set_id must be 0. work/work_size: scratch for one section (at least 229 bytes).
 * *blob_size receives the blob length (0 on failure).
 *
 * Returns RC_OK; RC_E_SERIALIZE_REQUEST (blob_capacity below 24 or set_id != 0);
 * RC_E_BLOB_OVERFLOW (blob_capacity too small for the sections or the 8-byte
 * trailer; nothing is ever written past blob_capacity); RC_E_WORK_BUFFER_SMALL.
 * Changes nothing in the library; on failure blob may hold partial sections. The 4
 * reserved trailer bytes and each section's byte 3 are left as the buffer held them.
 * A null blob_size or blob gives RC_E_SERIALIZE_REQUEST, a null work
 * RC_E_WORK_BUFFER_SMALL.
 */
VORN_API int32_t vorn_get_configuration(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                        uint8_t* work, uint32_t work_size, uint32_t* blob_size);

/**
 * Export the learnt state as a blob (139 bytes with the default set). As
 * vorn_get_configuration, except that blob_capacity must exceed 24 and work must
 * hold at least 45 bytes.
 */
VORN_API int32_t vorn_get_state(uint8_t set_id, uint8_t* blob, uint32_t blob_capacity,
                                uint8_t* work, uint32_t work_size, uint32_t* blob_size);

#ifdef __cplusplus
}
#endif

#endif /* VORN_VORN_H */
