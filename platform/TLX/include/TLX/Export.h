#pragma once

// Everything in the platform libraries is hidden unless it is marked with this.
#define VX_EXPORT __attribute__((visibility("default")))
