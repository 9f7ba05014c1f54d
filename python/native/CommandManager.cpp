#include "native/CommandManager.h"

#include <set>

#include "mova/Device.h"

namespace mova::python {

namespace {

std::set<CommandManager*>& all() {
    static auto& managers = *new std::set<CommandManager*>();  // Python's lock guards it
    return managers;
}

}  // namespace

void Listener::OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) {
    const py::gil_scoped_acquire locked;
    const py::object function = function_;
    if (!function) return;
    try {
        function(type, length, py::bytes(text));
    } catch (py::error_already_set& raised) {
        raised.discard_as_unraisable("what is told of a confirmation");
    }
}

CommandManager::CommandManager(const std::string& device, py::object listener) {
    if (!listener.is_none()) listener_ = std::make_shared<Listener>(std::move(listener));
    manager_ = device.empty() ? std::make_shared<CVeCmdManager>(listener_)
                              : std::make_shared<CVeCmdManager>(platformOfDevice(device), listener_);
    all().insert(this);
}

CommandManager::~CommandManager() {
    try {
        close();
    } catch (...) {  // short of memory; there is nobody to tell
        return;
    }
}

void CommandManager::close() {
    all().erase(this);
    std::shared_ptr<CVeCmdManager> manager = std::move(manager_);
    manager_.reset();
    if (!manager) return;
    {
        const py::gil_scoped_release unlocked;  // the reader thread may be on its way to the listener
        const bool othersCall = manager.use_count() > 1;
        if (othersCall) static_cast<void>(manager->ProprietaryCloseComPort(0));  // ends their waits
        manager->FinalRelease();
        manager.reset();
    }
    if (listener_) listener_->forget();
    listener_.reset();
}

void CommandManager::closeAll() {
    while (!all().empty()) (*all().begin())->close();
}

bool isMainThread() {
    const py::object main = py::module_::import("threading").attr("main_thread")();
    return main.attr("ident").cast<unsigned long>() == PyThread_get_thread_ident();
}

}  // namespace mova::python
