// The private folder is where the processes of one user meet: the debug channel's socket and the lock files are in it.
// It is the user's own and lets nobody else in, so whatever is found there was put there by this user or by root.
// It is looked for anew with each use: a process may change its user, and folders come and go.
#pragma once
#include <string>
#include <vector>

#include "platform/posix/FileDescriptor.h"

namespace mova {

class PrivateFolder {
public:
    // Empty: the folder that XDG_RUNTIME_DIR names when this process begins, where that is private to this user, or else
    // /tmp/mova-<user's number>.
    explicit PrivateFolder(const std::string& path = {});

    // The folder for the calls that start from one (openat and the like), however it may be renamed meanwhile; none when
    // it is not there or not private. Only make() makes the one in /tmp.
    FileDescriptor open() const;
    FileDescriptor make() const;

    const std::string& wanted() const;  // the first that is looked for; the same of all that mean the same folder
    std::string path() const;           // of what open() gives, or else of what make() would have given
    std::string whyNot() const;         // "PATH belongs to another user (1001)", of what path() tells

private:
    std::vector<std::string> candidates() const;

    std::string chosen_;  // empty: as the environment says
    std::string runtime_;
};

// The name of an entry of the folder as a path that leads through it and nowhere else: for sockets, whose calls take
// paths alone.
std::string pathThrough(const FileDescriptor& folder, const std::string& entry);

// The entry is a socket that this user made: no byte goes to any other.
bool isOwnSocket(const FileDescriptor& folder, const std::string& entry);

}  // namespace mova
