/*
 * Host layer of libvorn_host.so: the entry points a Python host script calls once
 * per measurement, the state file that is the library's only memory between those
 * calls, and the integration loop that drives the library through one measurement.
 * These symbols live only in libvorn_host.so, never in libvorn.so.
 *
 * Every entry point works on the library's single static instance and on the file
 * "savedState.dat" in the process's current directory: call them from one thread,
 * one at a time, and never from two processes sharing a working directory.
 *
 * libvorn_host.so also exports `sleep(int32_t)`, which returns 0 at once without
 * sleeping (the host script's pacing hook). It is not declared here because it
 * collides with <unistd.h>; note that linking a program against libvorn_host.so
 * therefore turns that program's sleep() into a no-op.
 */
#ifndef VORN_HOST_VORN_HOST_H
#define VORN_HOST_VORN_HOST_H

#include <stdint.h>

#include "vorn/vorn.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VORN_HOST_API __attribute__((visibility("default")))
#else
#define VORN_HOST_API
#endif

/* ---- Host entry points ---- */

/** Name of the state file, in the process's current directory. */
#define VORN_STATE_FILE_NAME "savedState.dat"

/**
 * Process one measurement: build the library from its defaults, restore the state
 * file, subscribe the ten host outputs at 1/3 Hz, plan and process one step with
 * the four readings at time_s seconds, and save the state back.
 *
 * host_out must hold 7 floats: IAQ index, its accuracy, compensated temperature,
 * compensated humidity, fixed-scale index, linear estimate, exponential estimate.
 * They are written only when the processing step returned RC_OK; otherwise the
 * array keeps what it held. A null host_out is never written.
 *
 * Returns 0 once the measurement ran (statuses met while processing or saving are
 * not reported), or the negative status of the setup, for example RC_E_BLOB_CRC
 * for a state file the library rejects: nothing is then measured or saved.
 * A reading that is NaN or infinite is refused with RC_E_INPUT_RANGE before the
 * state file is read: nothing is measured, learnt or saved.
 */
VORN_HOST_API int32_t proccess_gsx_data(int32_t time_s, float* host_out, float temperature,
                                        float pressure, float humidity, float gas);

/**
 * Read the state file into buffer and return the blob length n, or 0 when nothing
 * is to be restored. The file is a "%u\n" length line followed by n raw bytes.
 *
 * Returns 0, writing nothing past buffer[capacity - 1], when the file is missing or
 * unreadable (a directory, say); when the first line is empty, holds anything but
 * decimal digits, does not end within 1000 bytes, or states a length above
 * capacity; or when the file holds fewer than n bytes after the line. Bytes after
 * the n-th are ignored. The blob's own length field and checksum are checked by
 * vorn_set_state, not here.
 */
VORN_HOST_API int32_t state_load(uint8_t* buffer, uint32_t capacity);

/**
 * Replace the state file with a "%u\n" length line and the length bytes of buffer.
 *
 * The file is replaced atomically: the content goes to "savedState.dat.tmp" in
 * the same directory, is flushed to the disk, and is renamed over the state file,
 * so a crash or kill at any instant leaves either the previous or the new complete
 * file. Returns 0 on success; -1 when the temporary file cannot be created, written,
 * flushed or renamed (then the previous state file is untouched and the temporary
 * file removed).
 */
VORN_HOST_API int32_t state_save(const uint8_t* buffer, uint32_t length);

/* ---- Integration loop ---- */

/** Fills buffer (capacity bytes) and returns the number of bytes filled; 0 = none. */
typedef int32_t (*vorn_state_load_fn)(uint8_t* buffer, uint32_t capacity);
/** Persists length bytes of buffer; the result is not looked at. */
typedef int32_t (*vorn_state_save_fn)(const uint8_t* buffer, uint32_t length);

/** Result of vorn_iot_init_backend. */
typedef struct VornBackendResult {
    int8_t reserved_status; /**< always 0 */
    int32_t library_status; /**< status of the library operation that ended the setup */
} VornBackendResult;

/** Temperature offset (degrees Celsius) passed as IN_TEMPERATURE_OFFSET when above 0. */
VORN_HOST_API extern float gsx410_temperature_offset_g;

/**
 * Set the library up: vorn_init, load the state through load and import it with
 * vorn_set_state (a rejected state ends the setup with its status, leaving the
 * offset and the subscription unset), store temperature_offset, and subscribe the
 * ten host outputs at sample_rate (the last status is returned).
 */
VORN_HOST_API VornBackendResult vorn_iot_init_backend(vorn_state_load_fn load, float sample_rate,
                                                      float temperature_offset);

/**
 * Request OUT_IAQ_INDEX, OUT_COMPENSATED_TEMPERATURE, OUT_PASSTHROUGH_PRESSURE,
 * OUT_COMPENSATED_HUMIDITY, OUT_PASSTHROUGH_GAS, OUT_PASSTHROUGH_TEMPERATURE,
 * OUT_PASSTHROUGH_HUMIDITY, OUT_IAQ_FIXED_SCALE, OUT_LINEAR_ESTIMATE and
 * OUT_EXPONENTIAL_ESTIMATE at sample_rate Hz. Returns the vorn_update_subscription
 * status.
 */
VORN_HOST_API int32_t gsx410_vorn_update_subscription(float sample_rate);

/**
 * One measurement cycle (none at all, and nothing saved, when a reading is NaN or
 * infinite): truncate the readings to integers (temperature to the low
 * 16 bits of an int32, the others to uint32 with negatives and NaN as 0 and
 * saturation above), plan with vorn_sensor_control at time_s * 1e9 ns, process
 * all readings through gsx410_vorn_process_data, then export the state (221-byte
 * buffers) and hand it to save when the export succeeded.
 */
VORN_HOST_API void vorn_iot_loop_backend(int32_t time_s, float* host_out, vorn_state_save_fn save,
                                         float temperature, float pressure, float humidity,
                                         float gas);

/**
 * Run vorn_do_steps on the n inputs (nothing when n is 0) and, only if it returned
 * RC_OK, write the seven host values (see proccess_gsx_data); outputs absent from
 * the step count as 0.
 */
VORN_HOST_API void gsx410_vorn_process_data(const InputSample* inputs, uint8_t n, float* host_out);

#ifdef __cplusplus
}
#endif

#endif /* VORN_HOST_VORN_HOST_H */
