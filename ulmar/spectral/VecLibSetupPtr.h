// Setup pointers of an accelerated transform library, which this toolkit does not use:
// hosts fetch one and hand it back, and there is nothing behind it.
#pragma once

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"

/// Null, for any size.
ULMAR_EXPORT void* GetVecLibSetupPtr(ulmar::HostLong size);
ULMAR_EXPORT void* dGetVecLibSetupPtr(ulmar::HostLong size);

/// Leaves the pointer as it is.
ULMAR_EXPORT void DisposeVecLibSetupPtr(void*& setup);
