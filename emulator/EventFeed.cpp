#include "EventFeed.h"

#include <algorithm>

namespace VarnelBase::Emulation {

Answer EventFeed::Subscribe() {
    Answer answer;
    answer.contentType = "text/event-stream";
    answer.headers.emplace_back("Cache-Control", "no-store");
    answer.stream = std::make_shared<BodyStream>();
    answer.stream->Write(": connected\n\n");
    const std::lock_guard<std::mutex> lock(mutex);
    readers.push_back(answer.stream);
    return answer;
}

bool EventFeed::HasReaders() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return !readers.empty();
}

void EventFeed::Publish(const std::string& event, const json& data) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (readers.empty()) { return; }
    const std::string text = "event: " + event + "\ndata: " + WriteJson(data) + "\n\n";
    readers.erase(std::remove_if(readers.begin(), readers.end(),
                                 [&text](const std::shared_ptr<BodyStream>& reader) {
                                     return !reader->Write(text);
                                 }),
                  readers.end());
}

} // namespace VarnelBase::Emulation
