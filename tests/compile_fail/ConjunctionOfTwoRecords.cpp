#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = and_(is_equal(&Adapter::ID, 1), is_equal(&Adapter::Mode, 1));
#else
const auto condition = and_(is_equal(&Adapter::ID, 1), is_equal(&PD::ID, 1));
#endif
