#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = is_equal(&Adapter::AdapterNumber, 1);
#else
const auto condition = is_equal(&Adapter::AdapterNumber, "1");
#endif
