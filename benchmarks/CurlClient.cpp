#include "CurlClient.h"

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

using nlohmann::json;

namespace {

std::size_t Keep(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

} // namespace

CurlClient::CurlClient(int port, const std::string& token)
    : origin("http://127.0.0.1:" + std::to_string(port)) {
    for (const std::string& line :
         {"Authorization: Bearer " + token, std::string("User-Agent: by-hand/1"),
          std::string("Accept-Encoding: gzip")}) {
        headers = curl_slist_append(headers, line.c_str());
    }
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "gzip");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, 60'000L);
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
}

CurlClient::~CurlClient() {
    curl_easy_cleanup(handle);
    curl_slist_free_all(headers);
}

json CurlClient::GetVersion() {
    std::string body;
    curl_easy_setopt(handle, CURLOPT_URL, (origin + "/version").c_str());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Keep);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
    curl_easy_perform(handle);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    return status == 200 ? json::parse(body, nullptr, false) : json();
}

void CurlClient::SaveProject(const std::string& path) {
    FILE* file = std::fopen((path + ".part").c_str(), "wb");
    curl_easy_setopt(handle, CURLOPT_URL, (origin + "/generateProject").c_str());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "{}");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, nullptr);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
    if (curl_easy_perform(handle) != CURLE_OK) { throw std::runtime_error("no project"); }
    std::fflush(file);
    fsync(fileno(file));
    std::fclose(file);
    std::rename((path + ".part").c_str(), path.c_str());
}
