/*
 * lifecycle.h - process attach/detach.
 *
 *   process_attach, process_detach   (library/attach.cpp)
 *   lifecycle_on_detach(fn)   subsystems that create global records on first
 *                             use register their release function here; they
 *                             run in reverse order at detach, before the
 *                             settings record and the error block go.
 *   lifecycle_run_detach()    runs them (process detach)
 */
#pragma once

#include <cstdint>

namespace qv {

int32_t process_attach();
void process_detach();
void lifecycle_on_detach(void (*fn)());
/* Runs the registered release functions, last registered first. */
void lifecycle_run_detach();

}  // namespace qv
