#include "ConfigFile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "EnvironmentNames.h"
#include "EnvironmentVariable.h"
#include "KnownSettings.h"
#include "PrivateFile.h"
#include "QuotedText.h"
#include "TrackingIterator.h"
#include "UserDirectory.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t MaxConfigFileBytes = 1 << 20;

/// Receives the parser's events: keeps the settings and stops at what the file may not hold.
class ConfigReader : public json::json_sax_t {
public:
    ConfigEntries entries;
    std::string problem;
    bool hasSecrets = false;

    bool null() override { return Refuse("must not be null"); }
    bool boolean(bool value) override {
        return Keep({SettingKind::Flag}, value ? "true" : "false");
    }
    bool number_integer(number_integer_t /*value*/) override {
        return Refuse("must not be negative");
    }
    bool number_unsigned(number_unsigned_t value) override {
        return Keep({SettingKind::Number, SettingKind::Ports}, std::to_string(value));
    }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override {
        return Refuse("must be a whole number");
    }
    bool string(string_t& value) override {
        return Keep({SettingKind::Text, SettingKind::Secret, SettingKind::Number,
                     SettingKind::Ports, SettingKind::Flag},
                    std::move(value));
    }
    bool binary(binary_t& /*value*/) override { return false; }

    bool start_object(std::size_t /*size*/) override {
        if (!isInside) {
            isInside = true;
            return true;
        }
        if (!IsSection()) { return Refuse("must not be an object"); }
        sections.push_back(member);
        return true;
    }
    bool end_object() override {
        if (!sections.empty()) { sections.pop_back(); }
        return true;
    }
    bool start_array(std::size_t /*size*/) override { return Refuse("must not be an array"); }
    bool end_array() override { return true; }

    bool key(string_t& name) override {
        member = std::move(name);
        if (!IsAllowed()) { return Refuse("unknown key"); }
        if (!seen.insert(FullName()).second) { return Refuse("given twice"); }
        return true;
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*lastToken*/,
                     const nlohmann::detail::exception& /*error*/) override {
        // Both texts quote the file, which may hold secrets.
        problem = "not valid JSON";
        return false;
    }

private:
    /// Whether the current member is "environments" or one of the objects in it.
    bool IsSection() const {
        return sections.size() == 1 || (sections.empty() && member == "environments");
    }

    bool IsAllowed() const {
        if (sections.size() == 1) {
            return std::find(EnvironmentNames.begin(), EnvironmentNames.end(), member) !=
                   EnvironmentNames.end();
        }
        return IsSection() || (FindKnownSetting(member) != nullptr &&
                               (sections.empty() || member != "environment"));
    }

    std::string FullName() const {
        std::string name;
        for (const std::string& section : sections) { name += section + "."; }
        return name + member;
    }

    bool Keep(const std::vector<SettingKind>& kinds, std::string text) {
        if (!isInside || IsSection()) { return Refuse("must be an object"); }
        const KnownSetting* known = FindKnownSetting(member);
        if (std::find(kinds.begin(), kinds.end(), known->kind) == kinds.end()) {
            return Refuse("has the wrong type");
        }
        hasSecrets = hasSecrets || (known->kind == SettingKind::Secret && !text.empty());
        entries[FullName()] = std::move(text);
        return true;
    }

    bool Refuse(const std::string& reason) {
        problem = (isInside ? QuoteText(FullName()) : "the document") + ": " + reason;
        return false;
    }

    bool isInside = false;
    std::vector<std::string> sections; ///< keys of the open objects below the document
    std::string member;
    std::set<std::string> seen;
};

std::string DescribePosition(const std::string& text, const char* position) {
    const char* begin = text.data();
    // To find a number's end the parser reads on, possibly into the next line.
    while (position != begin && std::isspace(static_cast<unsigned char>(position[-1])) != 0) {
        --position;
    }
    const auto line = 1 + std::count(begin, position, '\n');
    const auto lineStart =
        std::find(std::make_reverse_iterator(position), std::make_reverse_iterator(begin), '\n');
    const auto column = std::max<std::ptrdiff_t>(1, position - lineStart.base());
    return std::to_string(line) + ":" + std::to_string(column);
}

} // namespace

std::string LocateConfigFile() {
    std::string named = ReadVariable("VARNEL_CONFIG");
    if (!named.empty()) { return named; }
    const std::string configHome = LocateUserDirectory("XDG_CONFIG_HOME", ".config");
    return configHome.empty() ? "" : configHome + "/varnel/config.json";
}

ConfigEntries ReadConfigFile(const std::string& path) {
    const FileReading file = ReadRegularFile(path, MaxConfigFileBytes, SymbolicLinks::Follow);
    if (file.isMissing && path != ReadVariable("VARNEL_CONFIG")) { return {}; }
    if (file.lacksDescriptor) {
        // Nothing is known of the file then, not even whether it exists.
        throw std::runtime_error("the settings cannot be read: " + file.problem +
                                 "; close some or raise the limit (ulimit -n)");
    }
    if (!file.problem.empty()) { throw std::runtime_error(path + ": " + file.problem); }

    const char* begin = file.bytes.data();
    const char* furthest = begin;
    ConfigReader reader;
    const bool isComplete = json::sax_parse(
        TrackingIterator(begin, furthest), TrackingIterator(begin + file.bytes.size(), furthest),
        &reader, nlohmann::detail::input_format_t::json, true, true);
    if (!isComplete) {
        throw std::runtime_error(path + ":" + DescribePosition(file.bytes, furthest) + ": " +
                                 reader.problem);
    }
    if (reader.hasSecrets && !file.isPrivate) {
        throw std::runtime_error(path +
                                 ": contains a password or client secret, so it must belong to you "
                                 "and be accessible to nobody else (chmod 600)");
    }
    return std::move(reader.entries);
}

} // namespace VarnelBase
