/*
 * registry.h - the per-process instance registry (global records).
 *
 * Process-wide records are stored under small integer keys in one process
 * record made of linked nodes of 13 (key, pointer) slots.
 *   registry_create / registry_destroy   process attach / detach
 *   registry_register(key, ptr)  0, -2 no memory, -4 no process record,
 *                                -5 key already registered
 *   registry_lookup(key, &ptr)   0, -4, -6 key not found
 *   registry_remove(key)         0, -4, -6
 * Guarded by a mutex.
 */
#pragma once

#include <cstdint>

namespace qv {

inline constexpr int32_t kKeyAutoDetect = 832;
inline constexpr int32_t kKeySettings = 835;
inline constexpr int32_t kKeyExtModules = 837;
inline constexpr int32_t kKeyErrorBlock = 872;
inline constexpr int32_t kKeyIoSettings = 879;

inline constexpr int32_t kRegOk = 0;
inline constexpr int32_t kRegNoMemory = -2;
inline constexpr int32_t kRegNoProcess = -4;
inline constexpr int32_t kRegDuplicate = -5;
inline constexpr int32_t kRegNotFound = -6;

int32_t registry_create();
void registry_destroy();
int32_t registry_register(int32_t key, void *ptr);
int32_t registry_lookup(int32_t key, void **ptr);
int32_t registry_remove(int32_t key);

}  // namespace qv
