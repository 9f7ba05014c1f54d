#include "component/automation/ByteArray.h"

namespace mova {

namespace {

constexpr USHORT kNotPlain = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT | FADF_RECORD;

std::size_t storageOf(const SAFEARRAY& array) {
    std::size_t size = array.cbElements;
    for (USHORT dimension = 0; dimension < array.cDims; ++dimension) size *= array.rgsabound[dimension].cElements;
    return size;
}

}  // namespace

ByteArray::ByteArray(const VARIANT& argument) : type_(V_VT(&argument)) {
    SAFEARRAY* const array = arrayIn(argument);
    if (!array) return;
    dimensions_ = SafeArrayGetDim(array);
    if ((array->fFeatures & kNotPlain) != 0) return;
    access_ = ArrayAccess(array);
    if (access_.data()) bytes_ = {static_cast<std::uint8_t*>(access_.data()), storageOf(*array)};
}

}  // namespace mova
