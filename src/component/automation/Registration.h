// What the registry says of the component, under the classes root.
#pragma once
#include "component/automation/Ole.h"

namespace mova {

// Both stop at the first failure and return it.
HRESULT registerComponent();
HRESULT unregisterComponent();

}  // namespace mova
