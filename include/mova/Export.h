// What programs outside the library see of it. The library is built with everything else hidden.
#pragma once

#if defined(__ELF__) && !defined(MOVA_STATIC)
#define MOVA_API __attribute__((visibility("default")))
#else
#define MOVA_API
#endif
