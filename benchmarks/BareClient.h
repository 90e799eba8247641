#pragma once

#include <nlohmann/json.hpp>

#include <string>

/// The same requests as the connector's, written by hand with the HTTP and JSON libraries alone.
class BareClient {
public:
    BareClient(std::string serviceHost, int servicePort, std::string accessToken);

    /// @param status the answer to read; 0: any
    /// @return the document, or null
    nlohmann::json Get(const std::string& path, int status) const;
    nlohmann::json Post(const std::string& path, const nlohmann::json& body, int status) const;
    nlohmann::json Patch(const std::string& path, const nlohmann::json& body, int status) const;
    void Delete(const std::string& path) const;

    /// A file and the header that names it.
    nlohmann::json PostForFile(const std::string& path, const nlohmann::json& body) const;

private:
    std::string host;
    int port;
    std::string token;
};
