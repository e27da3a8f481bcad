#pragma once

#include <TLXX/System.h>
