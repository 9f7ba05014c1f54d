#include "component/automation/ByteArray.h"

namespace mova {

namespace {

constexpr USHORT kNotPlain = FADF_BSTR | FADF_UNKNOWN | FADF_DISPATCH | FADF_VARIANT | FADF_RECORD;

SAFEARRAY* arrayOf(const VARIANT& argument) {
    if ((V_VT(&argument) & VT_ARRAY) == 0) return nullptr;
    if ((V_VT(&argument) & VT_BYREF) == 0) return V_ARRAY(&argument);
    return V_ARRAYREF(&argument) ? *V_ARRAYREF(&argument) : nullptr;
}

std::size_t storageOf(const SAFEARRAY& array) {
    std::size_t size = array.cbElements;
    for (USHORT dimension = 0; dimension < array.cDims; ++dimension) size *= array.rgsabound[dimension].cElements;
    return size;
}

}  // namespace

ByteArray::ByteArray(const VARIANT& argument) : type_(V_VT(&argument)) {
    SAFEARRAY* const array = arrayOf(argument);
    if (!array) return;
    dimensions_ = SafeArrayGetDim(array);
    void* data = nullptr;
    if ((array->fFeatures & kNotPlain) != 0 || FAILED(SafeArrayAccessData(array, &data))) return;
    accessed_ = array;
    if (data) bytes_ = {static_cast<std::uint8_t*>(data), storageOf(*array)};
}

ByteArray::~ByteArray() {
    if (accessed_) SafeArrayUnaccessData(accessed_);
}

}  // namespace mova
