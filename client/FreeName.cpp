#include "FreeName.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace VarnelBase {

std::string MakeUnfinishedName() {
    // A process number comes again: in containers it is the same in each run.
    return ".varnel-" + std::to_string(std::random_device()()) + ".part";
}

bool TakeFreeName(const std::string& file, const std::string& name) {
    if (renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    // NFS, for one, cannot do that, but has links.
    if (errno != EINVAL || link(file.c_str(), name.c_str()) != 0) { return false; }
    unlink(file.c_str());
    return true;
}

} // namespace VarnelBase
