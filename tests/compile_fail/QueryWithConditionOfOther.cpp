#include "Builder.h"

#ifdef VX_CONTROL
auto Query(storage_t& s) {
  return s.get_all<Adapter>(where(is_equal(&Adapter::ID, 1)));
}
#else
auto Query(storage_t& s) {
  return s.get_all<PD>(where(is_equal(&Adapter::ID, 1)));
}
#endif
