#include "ulmar/spectral/VecLibSetupPtr.h"

void* GetVecLibSetupPtr(ulmar::HostLong /*size*/) { return nullptr; }

void* dGetVecLibSetupPtr(ulmar::HostLong /*size*/) { return nullptr; }

void DisposeVecLibSetupPtr(void*& /*setup*/) {}
