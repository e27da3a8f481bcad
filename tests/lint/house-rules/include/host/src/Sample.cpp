#include <DatabaseORM/Storage.h>
#include <PI/Object.h>
#include "../piTorvex/Src/piTorvex.h"
