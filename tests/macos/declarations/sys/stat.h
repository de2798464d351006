#pragma once

// The C library's own, with the name that one of the fields has on macOS.

#include_next <sys/stat.h>

#define st_mtimespec st_mtim
