// A handset's profile: a TOML file that says what the simulated handset is and how it behaves. docs/handset.md
// describes it; kCommentedProfile is one with every key at its first value.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "handset/Handset.h"

namespace mova::handset {

struct HandsetSetup {
    std::string name = "handset";
    Profile profile;
    Faults faults;
    E2pStore store = E2pStore::erased();
    std::string storeFile;  // read at the start if it is there, written at the end; empty: none
    std::size_t segmentSize = 120;
    std::uint8_t e2pStatus = 0;
    std::uint8_t hciStatus = 0;
    std::uint8_t wifiStatus = 0;
    std::vector<ServiceAnswer> services;
    std::uint64_t unsolicitedMicroseconds = 0;
    std::optional<Conversation> conversation;

    void applyTo(Handset& handset, std::uint64_t nowMicroseconds) const;
};

// Errors are told as "FILE:LINE:COLUMN: what is wrong", else empty. A key that no profile has is an error.
// Files that a profile names are looked for beside it.
std::optional<HandsetSetup> readProfile(const std::string& path, std::string& error);
std::optional<HandsetSetup> profileFromText(const std::string& text, const std::string& path, std::string& error);

std::optional<Conversation> readConversation(const std::string& path, std::string& error);
bool readStore(HandsetSetup& setup, std::string& error);  // of storeFile; what is not there is no error
bool writeStore(const HandsetSetup& setup, const E2pStore& store);

extern const char* const kCommentedProfile;

}  // namespace mova::handset
