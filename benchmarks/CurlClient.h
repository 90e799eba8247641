#pragma once

#include <curl/curl.h>
#include <nlohmann/json.hpp>

#include <string>

/// What one would write with libcurl: a handle that is kept, and with it the connection. It sends
/// the header lines that `ServiceClient` sends.
class CurlClient {
public:
    CurlClient(int port, const std::string& token);
    ~CurlClient();
    CurlClient(const CurlClient&) = delete;
    CurlClient& operator=(const CurlClient&) = delete;

    nlohmann::json GetVersion();

    /// @throws std::runtime_error when there is no answer
    void SaveProject(const std::string& path);

private:
    CURL* handle = curl_easy_init();
    curl_slist* headers = nullptr;
    std::string origin;
};
