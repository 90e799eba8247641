#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "HttpTransfer.h"

namespace VarnelBase {

/// The connections of a client: as many as it has had calls at the same time, except those that
/// have been idle for too long. Several threads may use it.
class TransferPool {
public:
    explicit TransferPool(TransferSettings common) : settings(std::move(common)) {}

    /// Borrows a kept connection or a new one, and returns it when destroyed.
    class Lease {
    public:
        explicit Lease(TransferPool& lender) : pool(lender), transfer(pool.Take()) {}
        ~Lease() { pool.Return(std::move(transfer)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        HttpTransfer* operator->() const { return transfer.get(); }

    private:
        TransferPool& pool;
        std::unique_ptr<HttpTransfer> transfer;
    };

private:
    std::unique_ptr<HttpTransfer> Take();
    void Return(std::unique_ptr<HttpTransfer> transfer) noexcept;

    const TransferSettings settings;
    std::mutex mutex;
    std::vector<std::unique_ptr<HttpTransfer>> idle; ///< in the order of their last use
    std::size_t lent = 0;
};

} // namespace VarnelBase
