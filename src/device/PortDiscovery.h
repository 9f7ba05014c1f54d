// Looks a port number up in the system's device tree: which driver serves it, and what kind of card it is by the
// driver's friendly name. A port that is not listed counts as absent.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Platform.h"

namespace mova {

// There is no port 0, and none above.
constexpr std::uint32_t kLastPort = 65535;

// -2 nothing found, -1 not looked up yet, 0 a name that the table does not know, 1 to 6 by the table.
using CardType = std::int32_t;
constexpr CardType kCardNotFound = -2;
constexpr CardType kCardNotLookedUp = -1;
constexpr CardType kCardUnknown = 0;

// Cards that sit on USB (adapters, handset modems, sync cables) take a request whole; the others byte by byte.
constexpr bool isUsb(CardType card) { return card == 5 || card == 6; }

CardType classifyDriver(const std::string& driverName);

// Which of the tree's layouts a system version has.
enum class TreeFamily { Legacy, Nt, Xp, Vista };
TreeFamily treeFamily(const SystemVersion& version);

class PortDiscovery {
public:
    explicit PortDiscovery(Platform& platform) : serial_(platform.serial), keys_(platform.keys), host_(platform.host) {}

    // driverName stays as it was when nothing is found.
    CardType lookUp(std::uint32_t portNumber, std::string& driverName);

private:
    struct Search {
        const char* valueName;
        std::string pattern;
        int skip;  // matches still to pass over
        bool ignoreCase;
        bool serialEnumerator;  // only devices whose upper filter is the serial enumerator
    };

    bool findDevice(TreeFamily family, std::uint32_t portNumber, int skip, std::string& path);
    bool findKey(const std::string& path, int depth, Search& search, std::string& found);
    bool matchesLeaf(KeyTree::Key key, Search& search);
    bool hasSerialEnumerator(const std::string& path);
    bool hasActiveDevice(const std::string& path);
    bool readText(const std::string& path, const char* valueName, std::string& text);

    const SerialDriver& serial_;
    KeyTree& keys_;
    Host& host_;
};

// Position of the pattern in the text, -1 when absent.
int matchText(std::string_view text, std::string_view pattern, bool ignoreCase);

}  // namespace mova
