#include <CLI/CLI.hpp>

#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/PortList.h"
#include "cli/Table.h"

namespace mova::cli {

namespace {

void listThem(Context& context) {
    const std::vector<ListedPort> ports = listPorts();
    std::vector<std::vector<std::string>> rows{{"PORT", "DEVICE", "DRIVER", "CARD", "REQUESTS"}};
    context.result["ports"] = Json::array();
    for (const ListedPort& port : ports) {
        const std::string name = port.number ? "COM" + std::to_string(*port.number) : std::string("-");
        rows.push_back(
            {name, port.device, port.driver, std::to_string(port.card), isUsb(port.card) ? "whole" : "byte by byte"});
        Json entry = Json::object();
        entry["number"] = port.number ? Json(*port.number) : Json(nullptr);
        entry["device"] = port.device;
        entry["driver"] = port.driver;
        entry["cardType"] = port.card;
        entry["usb"] = isUsb(port.card);
        context.result["ports"].push_back(std::move(entry));
    }
    if (ports.empty()) {
        context.out.line("no ports");
        context.out.remark("  hint: " + noPortsHint());
        return;
    }
    const auto lines = tableLines(rows);
    context.out.line(StyledText(Style::Strong, lines[0]));
    for (std::size_t i = 1; i < lines.size(); ++i) context.out.line(lines[i]);
}

}  // namespace

void describePorts(CLI::App& command, Context& context) {
    command.description("Lists every port: number, device, driver name, card type, and how requests are written to it");
    whenRun(command, context, [&context] { listThem(context); });
}

}  // namespace mova::cli
