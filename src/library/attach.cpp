/*
 * attach.cpp - process attach and detach: the library's start-up and end,
 * above every layer.
 *
 * Attach (library constructor): the instance registry, the error block
 * (872), the settings record (835), then the filter table hands the control
 * blocks' layout and defaults down to the settings record. The I/O settings
 * (879) and the auto-detect table (832) are made on first use by their
 * owners. Detach (library destructor) releases every registered record with
 * its memory tag, then the registry.
 */
#include "registry/filter_table.h"
#include "support/errors.h"
#include "support/lifecycle.h"
#include "support/registry.h"
#include "support/settings.h"

namespace qv {

int32_t process_attach() {
    if (registry_create() != 0) return -1;
    if (int32_t st = error_block_create(); st != 0) return st;
    if (int32_t st = settings_create(); st != 0) return st;
    filter_table_attach();
    return 0;
}

void process_detach() {
    lifecycle_run_detach();
    settings_destroy();
    error_block_destroy();
    registry_destroy();
}

}  // namespace qv

__attribute__((constructor)) static void qv_library_attach() { qv::process_attach(); }
__attribute__((destructor)) static void qv_library_detach() { qv::process_detach(); }
