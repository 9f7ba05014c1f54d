// Every entry that COM calls runs inside this guard: an exception that leaves it would end the host.
#pragma once
#include <new>
#include <stdexcept>
#include <type_traits>

#include "component/automation/Ole.h"

namespace mova {

// An action without a result of its own succeeds.
template <class Action>
HRESULT guarded(Action action) noexcept {
    try {
        if constexpr (std::is_void_v<decltype(action())>) {
            action();
            return S_OK;
        } else {
            return action();
        }
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::length_error&) {  // a length that no text or buffer can have
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace mova
