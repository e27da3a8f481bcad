#pragma once

// The tool's records and the readers of its text. How the tool is asked is IPLUGINAPI_IMPL's.
#include "Core/ToolRecords.h"
#include "Core/ToolText.h"
