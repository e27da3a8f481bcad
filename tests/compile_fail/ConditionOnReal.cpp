#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = is_equal(&Adapter::Mode, 2);
#else
const auto condition = is_equal(&Adapter::Temperature, 2.5);
#endif
