/// \file
/// Entry points of the configuration library: its life, and what a running client asks it.
///
/// A service process calls ZefConfigInit once, ZefConfigStart once, and ZefConfigFinish when it stops, one after the
/// other from one control thread; nothing guards against another order. The task pool does not start again: after
/// ZefConfigFinish, or a start whose storage object was refused, tasks are no longer accepted until the library is
/// unloaded and loaded anew. ZefConfigFinish comes before the unloading, and before the process exits.
///
/// The queries may be called from any thread, but the storage registry that they read has no lock, and the pool's
/// worker changes records in it: a host keeps the worker between two tasks while it asks, or lives with the race.
///
/// Results are 0 for success and -1 for failure. Nothing catches exceptions: std::bad_alloc reaches the caller.
#ifndef ZEF_CONFIG_ZEF_CONFIG_H
#define ZEF_CONFIG_ZEF_CONFIG_H

#include "ZefConfigApi.h"

#include <cstdint>

extern "C" {

/// Reads the configuration file, takes the client's UUID from it and hands it to the gateway, initialises key
/// management, then hands the UUID to the client-information and Hib components. Key management is finished again when
/// the last step fails; the UUID stays taken.
ZEF_CONFIG_API int32_t ZefConfigInit();

/// Reads the configuration file again, registers its storage object and begins to connect it, publishes the
/// deduplication and compression switches, and starts the periodic key updates. When the storage object is refused the
/// registry is emptied and the task pool cleared; a failure after that leaves storage object and tasks in place.
ZEF_CONFIG_API int32_t ZefConfigStart();

/// Empties the registry, clears the task pool and finishes key management. Harmless in any state. The caller makes sure
/// that no task runs on the pool's worker meanwhile.
ZEF_CONFIG_API void ZefConfigFinish();

/// Trace points: this build has none. Always returns 0. A program may define both hooks itself and export them: the
/// library then calls those, and ZefConfigInit fails when the first returns anything but 0.
ZEF_CONFIG_API int32_t ZefConfigInitTracePoint();
/// The end of trace points: does nothing.
ZEF_CONFIG_API void ZefConfigExitTracePoint();

/// Copies the client's UUID (36 characters and a terminating zero) into a buffer of `size` bytes. -1 when there is no
/// UUID yet, with the buffer untouched, or when it does not fit; the buffer then holds what strcpy_s leaves.
ZEF_CONFIG_API int32_t ZefConfigGetUuid(char *buffer, uint32_t size);

/// Copies the client's end of its links into a buffer of `size` bytes: the initiator's WWN when the first storage
/// object is reached over Fibre Channel, otherwise the local IP address. -1 when there is none or it does not fit.
ZEF_CONFIG_API int32_t ZefConfigGetLocalAddr(char *buffer, uint32_t size);
}

/// The two answers of ZefConfigGetLocalAddr, asked for directly. Local address of the first pair of the first storage
/// object; the next object's when that does not fit the buffer. -1 at the first object without pairs.
ZEF_CONFIG_API int32_t ZefConfigGetIP(char *buffer, uint32_t size);
/// Initiator WWN of the first link record that the gateway fills and whose text fits the buffer.
ZEF_CONFIG_API int32_t ZefConfigGetFcIniWwn(char *buffer, uint32_t size);

/// Hands the UUID held to the client-information and Hib components, in this order. ZefConfigInit does it.
ZEF_CONFIG_API int32_t ZefConfigSetUuid();

/// Starts the periodic updates of root key and master key. ZefConfigStart does it.
ZEF_CONFIG_API int32_t ZefWoxUpdateTask();

/// Setter for a trace point's control path: stores `text`, an unsigned decimal number cut to 32 bits. Does nothing when
/// `value` is null; `text` must not be.
ZEF_CONFIG_API void ZefCtrlTpSetInt32Value(const char *text, int32_t *value);

#endif
