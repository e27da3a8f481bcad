#pragma once

// The adapter object. Its properties, operations and rows are handled by the members of
// IPLUGINAPI_IMPL that bear its name.
#include "Core/Adapter.h"
