// An enumerator over what there was when it was made. Item holds its own references and copies itself out.
#pragma once
#include <algorithm>
#include <atomic>
#include <vector>

#include "component/automation/Guard.h"
#include "component/automation/Module.h"

namespace mova {

// Interface: the enumerator's; Raw: what its Next hands out; Item: has `void copyTo(Raw&) const`.
template <class Interface, class Raw, class Item>
class SnapshotEnumerator final : public Interface {
public:
    static HRESULT make(std::vector<Item> items, Interface** enumerator) {
        if (!enumerator) return E_POINTER;
        *enumerator = new SnapshotEnumerator(std::move(items), 0);
        return S_OK;
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != __uuidof(IUnknown) && iid != __uuidof(Interface)) return E_NOINTERFACE;
        *object = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    STDMETHODIMP Next(ULONG wanted, Raw* raw, ULONG* fetched) override {
        if (fetched) *fetched = 0;
        if (!raw || (!fetched && wanted != 1)) return E_POINTER;
        const ULONG given = std::min(wanted, left());
        for (ULONG i = 0; i < given; ++i) items_[next_++].copyTo(raw[i]);
        if (fetched) *fetched = given;
        return given == wanted ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG count) override {
        const ULONG skipped = std::min(count, left());
        next_ += skipped;
        return skipped == count ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        next_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(Interface** copy) override {
        if (!copy) return E_POINTER;
        *copy = nullptr;
        return guarded([&] {
            *copy = new SnapshotEnumerator(items_, next_);
            return S_OK;
        });
    }

private:
    SnapshotEnumerator(std::vector<Item> items, std::size_t next) : items_(std::move(items)), next_(next) {}
    virtual ~SnapshotEnumerator() = default;
    ULONG left() const { return static_cast<ULONG>(items_.size() - next_); }

    const ModuleLock lock_;
    std::atomic<ULONG> references_{1};
    const std::vector<Item> items_;
    std::size_t next_;
};

}  // namespace mova
