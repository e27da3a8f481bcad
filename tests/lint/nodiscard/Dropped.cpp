#include <PI/ConfigFile.h>

void Store(PI::CConfigFile& options) {
#ifdef SAMPLE_RIGHT
  if (options.WriteKeyValue("Key", "Value", -1, -1) != 0) return;
#else
  options.WriteKeyValue("Key", "Value", -1, -1);
#endif
}
