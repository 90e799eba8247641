#include "Connection.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

#include "UtcTime.h"

namespace VarnelBase::Emulation {

namespace {

using boost::system::error_code;
using std::chrono::milliseconds;
using Tcp = boost::asio::ip::tcp;
using Outcome = ClientSocket::Outcome;
using State = RequestReader::State;

constexpr milliseconds IdleTime{75000};
constexpr milliseconds RequestTime{30000}; ///< that a request may take to arrive
constexpr milliseconds StallTime{30000};   ///< that a client may take no byte
constexpr milliseconds DrainTime{500};
constexpr milliseconds TimeAfterStop{1000};
constexpr std::size_t MaxDrainBytes = std::size_t{4} << 20U;
constexpr std::size_t BlankBlockBytes = 65536;
constexpr std::size_t WaiterThreads = 8;

} // namespace

Connection::Connection(ServerParts& shared, int accepted)
    : parts(shared), socket(shared.loop, Tcp::v4(), accepted), client(accepted, shared.tls.get()) {}

void Connection::Start() {
    parts.connections.insert(shared_from_this());
    SetTimeLeft(IdleTime);
    Receive();
}

void Connection::CheckTime(Clock::time_point now) {
    if (now >= deadline) { Close(); }
}

void Connection::Stop() {
    if (reader == nullptr && !isDraining) {
        Close();
        return;
    }
    deadline = std::min(deadline, Clock::now() + TimeAfterStop);
    if (timer != nullptr) { timer->cancel(); }
    if (delivery && delivery->stream != nullptr) { delivery->stream->Close(); }
}

void Connection::Await(Tcp::socket::wait_type readiness, Step step) {
    socket.async_wait(readiness, [self = shared_from_this(), step](const error_code& error) {
        if (!error && self->socket.is_open()) { (self.get()->*step)(); }
    });
}

void Connection::AwaitTime(double seconds, Step step) {
    const milliseconds time(parts.isStopping ? 0 : std::llround(seconds * 1000));
    SetTimeLeft(time + StallTime);
    if (timer == nullptr) { timer = std::make_unique<boost::asio::steady_timer>(parts.loop); }
    timer->expires_after(time);
    // The end of the server ends the wait, too.
    timer->async_wait([self = shared_from_this(), step](const error_code& /*error*/) {
        if (self->socket.is_open()) { (self.get()->*step)(); }
    });
}

void Connection::Post(Step step) {
    boost::asio::post(parts.loop, [self = shared_from_this(), step] {
        if (self->socket.is_open()) { (self.get()->*step)(); }
    });
}

void Connection::SetTimeLeft(milliseconds time) {
    deadline = Clock::now() + (parts.isStopping ? std::min(time, TimeAfterStop) : time);
}

void Connection::Receive() {
    std::size_t size = parts.buffer.size();
    switch (client.Receive(parts.buffer.data(), size)) {
        case Outcome::WantsRead:
            Await(Tcp::socket::wait_read, &Connection::Receive);
            break;
        case Outcome::WantsWrite:
            Await(Tcp::socket::wait_write, &Connection::Receive);
            break;
        case Outcome::Ended:
            Close();
            break;
        case Outcome::Moved:
            if (arrived.empty()) {
                Consume({parts.buffer.data(), size});
            } else {
                arrived.append(parts.buffer.data(), size);
                ConsumeArrived();
            }
    }
}

void Connection::ConsumeArrived() {
    const std::string bytes = std::exchange(arrived, std::string());
    Consume(bytes);
}

void Connection::Consume(std::string_view bytes) {
    if (reader == nullptr) {
        reader = std::make_unique<RequestReader>();
        isHeadRead = false;
        begin = Clock::now();
        exchange.startedAt = GetMachineTime();
        SetTimeLeft(RequestTime);
    }
    bytes.remove_prefix(reader->Read(bytes));
    if (!isHeadRead && !ReadHead(bytes)) { return; }
    arrived.assign(bytes);
    switch (reader->GetState()) {
        case State::Whole:
            Deliver(parts.callbacks.answer(reader->GetRequest(), fault));
            break;
        case State::Bad:
            fault.reset();
            reader->GetRequest().isKeptAlive = false;
            Deliver(reader->TakeRefusal());
            break;
        default:
            Await(Tcp::socket::wait_read, &Connection::Receive);
    }
}

/// Begins the body where the head has ended; false: it is not to be read.
bool Connection::ReadHead(std::string_view& bytes) {
    const State state = reader->GetState();
    if (state != State::Body && state != State::Whole) { return true; }
    isHeadRead = true;
    fault = parts.callbacks.chooseFault(reader->GetRequest());
    if (fault && fault->action == FaultAction::DropBeforeReading) {
        Deliver(Answer());
        return false;
    }
    if (state == State::Whole) { return true; }
    if (bytes.empty() && reader->IsContinueExpected()) {
        std::string_view line = "HTTP/1.1 100 Continue\r\n\r\n";
        client.Send(line);
        if (!line.empty()) {
            Close();
            return false;
        }
    }
    bytes.remove_prefix(reader->Read(bytes));
    return true;
}

void Connection::Deliver(Answer answer) {
    if (answer.later) {
        DeliverLater(std::move(answer));
        return;
    }
    delivery = PlanDelivery(std::move(answer), reader->GetRequest(), fault);
    if (delivery->delaySeconds > 0) {
        AwaitTime(delivery->delaySeconds, &Connection::BeginSending);
    } else {
        BeginSending();
    }
}

void Connection::DeliverLater(Answer answer) {
    deadline = parts.isStopping ? deadline : Clock::time_point::max();
    if (parts.waiters == nullptr) {
        parts.waiters = std::make_unique<boost::asio::thread_pool>(WaiterThreads);
    }
    boost::asio::post(*parts.waiters, [self = shared_from_this(), later = std::move(answer.later)] {
        Answer made;
        try {
            made = later(self->parts.isStopping);
        } catch (const std::exception& error) {
            made = MakeErrorAnswer(500, "internal", error.what());
        }
        boost::asio::post(self->parts.loop, [self, made = std::move(made)]() mutable {
            if (self->socket.is_open()) { self->Deliver(std::move(made)); }
        });
    });
}

void Connection::BeginSending() {
    exchange.request = std::move(reader->GetRequest());
    exchange.status = delivery->status;
    exchange.faultRule = fault ? fault->rule : 0;
    exchange.durationMs = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    parts.callbacks.record(std::exchange(exchange, Exchange()));

    if (delivery->ending == Delivery::Ending::Reset) {
        client.PrepareReset();
        Close();
        return;
    }
    if (delivery->stream != nullptr) {
        delivery->stream->SetWakeUp([weak = weak_from_this()] {
            if (const auto self = weak.lock()) { self->Post(&Connection::SendMore); }
        });
        Await(Tcp::socket::wait_read, &Connection::WatchStream);
    }
    unsent = delivery->bytes;
    SetTimeLeft(StallTime);
    Send();
}

void Connection::Send() {
    while (!unsent.empty()) {
        const std::string_view bytes = delivery->pauseSeconds ? unsent.substr(0, 1) : unsent;
        std::string_view left = bytes;
        switch (client.Send(left)) {
            case Outcome::WantsRead:
                Await(Tcp::socket::wait_read, &Connection::Send);
                return;
            case Outcome::WantsWrite:
                Await(Tcp::socket::wait_write, &Connection::Send);
                return;
            case Outcome::Ended:
                Close();
                return;
            case Outcome::Moved:
                break;
        }
        unsent.remove_prefix(bytes.size() - left.size());
        SetTimeLeft(StallTime);
        if (delivery->pauseSeconds && !unsent.empty()) {
            AwaitTime(*delivery->pauseSeconds, &Connection::Send);
            return;
        }
    }
    if (delivery->stream != nullptr) {
        isAwaitingStream = true;
        deadline = parts.isStopping ? deadline : Clock::time_point::max();
        SendMore();
    } else if (delivery->blanks > 0 && !parts.isStopping) {
        part.assign(
            static_cast<std::size_t>(std::min<std::int64_t>(delivery->blanks, BlankBlockBytes)),
            ' ');
        delivery->blanks -= static_cast<std::int64_t>(part.size());
        unsent = part;
        Post(&Connection::Send); // others have their turn
    } else {
        EndAnswer();
    }
}

/// Sends what was written to the stream, unless something else is still being sent.
void Connection::SendMore() {
    if (!isAwaitingStream) { return; }
    bool hasEnded = false;
    part = delivery->stream->Take(hasEnded);
    if (!part.empty() && delivery->isStreamChunked) {
        std::ostringstream length;
        length << std::hex << part.size();
        part = length.str() + "\r\n" + part + "\r\n";
    }
    if (hasEnded) {
        if (delivery->isStreamChunked) { part += "0\r\n\r\n"; }
        delivery->stream->SetWakeUp(nullptr);
        delivery->stream.reset();
    }
    if (part.empty() && !hasEnded) { return; }
    isAwaitingStream = false;
    unsent = part;
    SetTimeLeft(StallTime);
    Send();
}

/// Notices that the client has gone while nothing is written for it.
void Connection::WatchStream() {
    std::size_t size = parts.buffer.size();
    if (client.Receive(parts.buffer.data(), size) == Outcome::Ended) {
        Close();
    } else {
        Await(Tcp::socket::wait_read, &Connection::WatchStream);
    }
}

void Connection::EndAnswer() {
    const bool isKept = delivery->ending == Delivery::Ending::Keep && !parts.isStopping;
    const bool hasUnread = reader->GetState() != State::Whole || !arrived.empty();
    delivery.reset();
    reader.reset();
    if (isKept) {
        SetTimeLeft(IdleTime);
        if (arrived.empty()) {
            Await(Tcp::socket::wait_read, &Connection::Receive);
        } else {
            Post(&Connection::ConsumeArrived);
        }
        return;
    }
    client.ShutDown();
    if (hasUnread) {
        // Closing with unread bytes would throw the answer away that is on its way.
        isDraining = true;
        SetTimeLeft(DrainTime);
        Drain();
    } else {
        Close();
    }
}

void Connection::Drain() {
    std::size_t size = parts.buffer.size();
    switch (client.Receive(parts.buffer.data(), size)) {
        case Outcome::WantsRead:
        case Outcome::WantsWrite:
            Await(Tcp::socket::wait_read, &Connection::Drain);
            break;
        case Outcome::Ended:
            Close();
            break;
        case Outcome::Moved:
            drained += size;
            if (drained < MaxDrainBytes) {
                Post(&Connection::Drain);
            } else {
                Close();
            }
    }
}

void Connection::Close() {
    if (delivery && delivery->stream != nullptr) {
        delivery->stream->SetWakeUp(nullptr);
        delivery->stream->Close();
    }
    if (timer != nullptr) { timer->cancel(); }
    error_code ignored;
    socket.close(ignored);
    parts.connections.erase(shared_from_this());
}

} // namespace VarnelBase::Emulation
