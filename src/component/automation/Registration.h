// What the registry says of the component, under the classes of the machine or of the user who runs this.
#pragma once
#include "component/automation/Ole.h"

namespace mova {

enum class RegisteredFor { Machine, User };

// All stop at the first failure and return it.
HRESULT registerComponent(RegisteredFor whom);
HRESULT unregisterComponent(RegisteredFor whom);

}  // namespace mova
