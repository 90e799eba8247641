#include "Delivery.h"

#include <boost/beast/http/status.hpp>

#include <algorithm>
#include <string_view>

namespace VarnelBase::Emulation {

namespace {

using Ending = Delivery::Ending;

/// How the other side learns where the body ends.
enum class Framing { None, Length, Chunks, End };

std::string WriteHead(const Answer& answer, Framing framing, const Request& request,
                      Ending ending) {
    const auto reason =
        boost::beast::http::obsolete_reason(static_cast<boost::beast::http::status>(answer.status));
    std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " ";
    head.append(reason.data(), reason.size()).append("\r\n");
    const auto addLine = [&head](std::string_view name, std::string_view value) {
        head.append(name).append(": ").append(value).append("\r\n");
    };
    if (!answer.contentType.empty()) { addLine("Content-Type", answer.contentType); }
    for (const HeaderLine& line : answer.headers) { addLine(line.first, line.second); }
    if (ending != Ending::Keep) {
        addLine("Connection", "close");
    } else if (!request.isHttp11) {
        addLine("Connection", "keep-alive");
    }
    if (framing == Framing::Length) {
        addLine("Content-Length", std::to_string(answer.body.size()));
    }
    if (framing == Framing::Chunks) { addLine("Transfer-Encoding", "chunked"); }
    return head + "\r\n";
}

Framing ChooseFraming(const Answer& answer, const Fault& fault) {
    if (fault.action == FaultAction::MalformedChunk) { return Framing::Chunks; }
    if (fault.action == FaultAction::Endless || answer.stream != nullptr) { return Framing::End; }
    return answer.status == 204 || answer.status == 304 ? Framing::None : Framing::Length;
}

/// What a fault changes in the answer itself.
void SpoilAnswer(const Fault& fault, Answer& answer) {
    constexpr const char* disposition = "Content-Disposition";
    switch (fault.action) {
        case FaultAction::ReplaceStatus:
            answer.status = fault.status;
            break;
        case FaultAction::InvalidJson:
            answer.body = R"({"id": "broken)";
            break;
        case FaultAction::LiteralNull:
            answer.body = "null";
            break;
        case FaultAction::DuplicateDisposition:
            answer.headers.emplace_back(disposition, "attachment; filename=\"duplicate.zip\"");
            break;
        case FaultAction::EmptyDisposition:
            answer.headers.erase(
                std::remove_if(answer.headers.begin(), answer.headers.end(),
                               [](const HeaderLine& line) { return line.first == disposition; }),
                answer.headers.end());
            answer.headers.emplace_back(disposition, "");
            break;
        default:
            break;
    }
}

/// What a fault changes in the way the answer is sent. `delivery` holds head and body.
void SpoilDelivery(const Fault& fault, std::size_t headSize, Delivery& delivery) {
    switch (fault.action) {
        case FaultAction::DropBeforeReading:
        case FaultAction::DropAfterReading:
        case FaultAction::Reset:
            delivery.status = 0;
            delivery.bytes.clear();
            delivery.stream.reset();
            delivery.ending = fault.action == FaultAction::Reset ? Ending::Reset : Ending::Close;
            break;
        case FaultAction::Truncate: {
            const std::size_t bodySize = delivery.bytes.size() - headSize;
            delivery.bytes.resize(bodySize == 0 ? headSize / 2 : headSize + bodySize / 2);
            delivery.ending = Ending::Close;
            break;
        }
        case FaultAction::MalformedChunk: {
            std::string body = delivery.bytes.substr(headSize);
            if (!body.empty()) { body = "1\r\n" + body.substr(0, 1) + "\r\nno-length\r\n" + body; }
            delivery.bytes.replace(headSize, std::string::npos,
                                   body.empty() ? "no-length\r\n" : body);
            delivery.ending = Ending::Close;
            break;
        }
        case FaultAction::Endless:
            delivery.bytes.resize(headSize);
            delivery.blanks = fault.maxBytes;
            delivery.ending = Ending::Close;
            break;
        case FaultAction::Drip:
            delivery.pauseSeconds = fault.pauseSeconds;
            break;
        default:
            break;
    }
}

} // namespace

Delivery PlanDelivery(Answer answer, const Request& request, const std::optional<Fault>& fault) {
    const Fault applied = fault.value_or(Fault());
    SpoilAnswer(applied, answer);

    Delivery delivery;
    const Framing framing = ChooseFraming(answer, applied);
    const bool isEndOfConnection = framing == Framing::End || !request.isKeptAlive;
    delivery.ending = isEndOfConnection ? Ending::Close : Ending::Keep;
    delivery.status = answer.status;
    delivery.delaySeconds = applied.delaySeconds;
    delivery.bytes = WriteHead(answer, framing, request, delivery.ending);
    const std::size_t headSize = delivery.bytes.size();
    if (request.method != "HEAD" && framing != Framing::None) {
        delivery.bytes += answer.body;
        delivery.stream = std::move(answer.stream);
    }
    SpoilDelivery(applied, headSize, delivery);
    return delivery;
}

} // namespace VarnelBase::Emulation
