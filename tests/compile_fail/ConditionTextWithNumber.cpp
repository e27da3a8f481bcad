#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = is_equal(&Adapter::Host, std::string("1"));
#else
const auto condition = is_equal(&Adapter::Host, 1);
#endif
