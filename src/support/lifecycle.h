/*
 * lifecycle.h - process attach/detach.
 *
 *   process_attach, process_detach
 *   lifecycle_on_detach(fn)   subsystems that create global records on first
 *                             use register their release function here; they
 *                             run in reverse order at detach, before the
 *                             settings record and the error block go.
 */
#pragma once

#include <cstdint>

namespace qv {

int32_t process_attach();
void process_detach();
void lifecycle_on_detach(void (*fn)());

}  // namespace qv
