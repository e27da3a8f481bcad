#include "Builder.h"

#ifdef VX_CONTROL
void Remove(storage_t& s) {
  s.remove_all<PD>(where(is_equal(&PD::ID, 1)));
}
#else
void Remove(storage_t& s) {
  s.remove_all<Plugin>(where(is_equal(&PD::ID, 1)));
}
#endif
