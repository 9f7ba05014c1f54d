// How results reach the client. A null out-parameter is passed over. What needs memory is had before anything is
// written, so that a call that runs out of memory has written nothing.
#pragma once
#include "component/automation/Bstr.h"
#include "mova/Codes.h"

namespace mova {

template <class Out, class Value>
HRESULT put(Out* out, Value value) {
    if (out) *out = static_cast<Out>(value);
    return S_OK;
}

// The only place where a code becomes the number that clients see.
template <class Out>
HRESULT putCode(Out* out, Code code) {
    return put(out, number(code));
}

// Deliberate: E2P and HCI calls tell a code other than 0 by their success value too.
template <class Out>
HRESULT putCodeAndStatus(Out* out, Code code) {
    putCode(out, code);
    return code == Code::Success ? S_OK : S_FALSE;
}

// An out-text is written without looking at what was there: clients pass what they like.
inline void putText(BSTR* out, Bstr text) {
    if (out) *out = text.release();
}

// An in-out-text is replaced, and the old one freed.
inline void replaceText(BSTR* inOut, Bstr text) {
    if (!inOut) return;
    SysFreeString(*inOut);
    *inOut = text.release();
}

}  // namespace mova
