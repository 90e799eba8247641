#pragma once

#include <sys/mman.h>

#include <exception>
#include <new>
#include <utility>

#include "FailingAllocations.h"
#include "HostileFixture.h"

namespace VarnelBase {

/// Has the allocations of something fail one after the other, in child processes: where one fails
/// in a destructor of the JSON library, which ends the process, another one goes on behind it.
class AllocationFixture : public HostileFixture {
protected:
    /// Runs `work`, which returns 0 or the number of what is wrong, in child processes.
    ///
    /// @return its status
    template <typename Work>
    int RunInChildren(Work work) {
        int status = EndedByJson;
        for (counts.number = 1; status == EndedByJson;) {
            status = AwaitChild(StartChild([&] {
                std::set_terminate(TellTermination);
                return work();
            }));
            if (status == EndedByJson) {
                ++counts.number;
                ++terminations;
            }
        }
        return status;
    }

    /// Has the next allocation fail while `use` runs. False: it does not have so many.
    template <typename Use>
    bool FailNext(Use use) {
        allocationsLeft = counts.number;
        try {
            use();
        } catch (const std::bad_alloc&) {}
        if (std::exchange(allocationsLeft, 0) > 0) { return false; }
        ++counts.number;
        ++counts.failures;
        return true;
    }

    struct Counts {
        long number;   ///< of the allocation that fails next
        long failures; ///< in all
    };
    Counts& counts = *static_cast<Counts*>(
        mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    long terminations = 0; ///< by the JSON library, which `counts.failures` leaves out
};

} // namespace VarnelBase
