// A shortage of memory when it is wanted: this test program allocates through an operator new of its own.
#pragma once

namespace mova {

void failNextAllocation();  // of this thread, once

}  // namespace mova
