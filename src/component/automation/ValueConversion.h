// How values change their type on the way from a caller to a method and back.
#pragma once
#include "component/automation/Variant.h"

namespace mova {

// value, empty before, becomes the argument as that type. 16- and 32-bit integers keep their bits whatever their sign,
// and a negative number stands for its bits: &hFFFFFFFF of a script is one.
HRESULT convert(const VARIANT& argument, VARTYPE type, Variant& value);

// value becomes what a reference of that type takes; on failure it stays as it is.
HRESULT convertForReference(VARTYPE type, Variant& value);

// Moves a value of the type that the reference leads to.
void moveThrough(const VARIANT& reference, Variant& value);

// The type in which scripts can use a value; the bits of 32-bit integers stay.
void makeScriptSafe(VARIANT& value);

// Moves a value into a script's variable, in a type that scripts can use.
void moveIntoVariable(VARIANT& variable, Variant& value);

}  // namespace mova
