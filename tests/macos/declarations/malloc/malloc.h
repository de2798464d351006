#pragma once

#include <cstddef>

extern "C" {

struct malloc_zone_t;

std::size_t malloc_zone_pressure_relief(malloc_zone_t* zone, std::size_t goal);

}  // extern "C"
