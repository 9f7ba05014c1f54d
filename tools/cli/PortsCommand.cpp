#include <CLI/CLI.hpp>
#include <filesystem>

#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "cli/Table.h"
#include "cli/UdevRule.h"
#include "device/PortDiscovery.h"

namespace mova::cli {

namespace {

std::string nameOf(const ListedPort& port) {
    return port.number ? "COM" + std::to_string(*port.number) : std::string("-");
}

std::string idsOf(const UsbIdentity& usb) { return usb.vendor + ":" + usb.product; }

Json entryOf(const ListedPort& port) {
    Json entry = Json::object();
    entry["number"] = port.number ? Json(*port.number) : Json(nullptr);
    entry["device"] = port.device;
    entry["driver"] = port.driver;
    entry["cardType"] = port.card;
    entry["usb"] = isUsb(port.card);
    if (port.usb) {
        entry["usbId"] = idsOf(*port.usb);
        entry["serialNumber"] = port.usb->serial;
        entry["socket"] = port.usb->socket;
        entry["byId"] = port.usb->byId;
    }
    return entry;
}

void listThem(Context& context) {
    const std::vector<ListedPort> ports = listPorts();
    std::vector<std::vector<std::string>> rows{
        {"PORT", "DEVICE", "DRIVER", "CARD", "REQUESTS", "VID:PID", "SERIAL NUMBER"}};
    context.result["ports"] = Json::array();
    for (const ListedPort& port : ports) {
        const UsbIdentity usb = port.usb.value_or(UsbIdentity());
        rows.push_back({nameOf(port), port.device, port.driver, std::to_string(port.card),
                        isUsb(port.card) ? "whole" : "byte by byte", port.usb ? idsOf(usb) : "", usb.serial});
        context.result["ports"].push_back(entryOf(port));
    }
    if (ports.empty()) {
        context.out.line("no ports");
        context.out.remark("  hint: " + noPortsHint());
        return;
    }
    const auto lines = tableLines(rows);
    context.out.line(StyledText(Style::Strong, lines[0]));
    for (std::size_t i = 0; i < ports.size(); ++i) {
        context.out.line(trimRight(lines[i + 1]));
        if (ports[i].usb && !ports[i].usb->byId.empty()) context.out.line("      " + ports[i].usb->byId);
    }
}

#ifndef _WIN32

bool isCalled(const ListedPort& port, const std::string& name) {
    const std::int32_t number = portNumberOf(name);
    if (number > 0) return port.number == number;
    std::error_code failed;
    return std::filesystem::canonical(name, failed) == std::filesystem::path(port.device) && !failed;
}

// The port that is to have the number: one that is named, else that which has it already, else the only one on USB.
const ListedPort& portFor(std::int32_t number, const Context& context, const std::vector<ListedPort>& ports) {
    const std::string wanted = context.given.port ? context.options.port : std::to_string(number);
    for (const ListedPort& port : ports) {
        if (isCalled(port, wanted)) return port;
    }
    if (context.given.port) failUsage("there is no port " + wanted, "\"mova ports\" lists what is there");
    const ListedPort* only = nullptr;
    for (const ListedPort& port : ports) {
        if (!port.usb || (only != nullptr && only->device == port.device)) continue;
        if (only != nullptr) {
            failUsage("there are several USB adapters: which is to be COM" + std::to_string(number) + "?",
                      "name it by its device: mova --port " + port.device + " ports --udev " + std::to_string(number));
        }
        only = &port;
    }
    if (only == nullptr) failUsage("there is no USB adapter", "plug it in, then ask again: the rule is made from it");
    return *only;
}

void showRule(Context& context, std::int32_t number) {
    if (number == 0) failUsage("--udev 0: ports are numbered from 1");
    const std::vector<ListedPort> ports = listPorts();
    const ListedPort& port = portFor(number, context, ports);
    const UdevRule rule = udevRule(number, port, ports);
    context.result["number"] = number;
    context.result["device"] = port.device;
    context.result["rule"] = rule.rule;
    context.out.line(rule.remark);
    context.out.line(rule.rule);
    context.out.remark(
        "  hint: append it to /etc/udev/rules.d/70-handset.rules, then: udevadm control --reload && udevadm trigger");
}

CLI::Option* addUdev(CLI::App& command, std::uint32_t& number) {
    return addNumber(
        command, "--udev", number, kLastPort,
        "show the udev rule that makes /dev/COMn, n being this number, of a USB adapter: that of --port, else "
        "the one that has the number now, else the only one there is");
}

#endif

}  // namespace

void describePorts(CLI::App& command, Context& context) {
    command.description(
        "Lists every port: number, device, driver name, card type, how requests are written to it, and on USB the "
        "adapter's vendor and product, its serial number and its link by these");
#ifdef _WIN32
    whenRun(command, context, [&context] { listThem(context); });
#else
    auto number = std::make_shared<std::uint32_t>(0);
    const CLI::Option* const asked = addUdev(command, *number);
    whenRun(command, context, [&context, number, asked] {
        asked->count() > 0 ? showRule(context, static_cast<std::int32_t>(*number)) : listThem(context);
    });
#endif
}

}  // namespace mova::cli
