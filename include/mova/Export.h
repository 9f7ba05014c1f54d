// MOVA_API marks what the shared library shows; everything else in it is hidden.
#pragma once

#if defined(__GNUC__) && !defined(_WIN32)
#define MOVA_API [[gnu::visibility("default")]]
#else
#define MOVA_API
#endif
