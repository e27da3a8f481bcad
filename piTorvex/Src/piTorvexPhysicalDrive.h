#pragma once

// The physical drive object. Its properties, operations and rows are handled by the members of
// IPLUGINAPI_IMPL that bear its name.
#include "Core/PhysicalDrive.h"
