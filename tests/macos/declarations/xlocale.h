#pragma once

// The C library here has most of it in its own headers.

#include <locale.h>
#include <stdio.h>
#include <stdlib.h>

extern "C" int snprintf_l(char* text, std::size_t size, locale_t locale, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
