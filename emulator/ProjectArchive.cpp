#include "ProjectArchive.h"

#include <HexText.h>
#include <zip.h>

#include <map>
#include <memory>

#include "MemberReader.h"

namespace VarnelBase::Emulation {

namespace {

constexpr std::size_t MaxNameBytes = 200;

// 1980-01-01 00:00, the earliest time that an archive can hold.
constexpr zip_uint16_t EntryTime = 0;
constexpr zip_uint16_t EntryDate = (1U << 5U) | 1U;

struct ZipDeleter {
    void operator()(zip_t* archive) const { zip_discard(archive); }
    void operator()(zip_source_t* source) const { zip_source_free(source); }
};

[[noreturn]] void ThrowProblem(zip_t* archive) {
    throw std::runtime_error(std::string("archive: ") + zip_strerror(archive));
}

/// Whether a text can be a file's name on every system.
bool IsFileName(const std::string& name) {
    if (name.empty() || name == "." || name == ".." || name.size() > MaxNameBytes) { return false; }
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f ||
            std::string("/\\:*?\"<>|").find(c) != std::string::npos) {
            return false;
        }
    }
    return true;
}

void AddEntry(zip_t* archive, const std::string& name, const std::string& content) {
    zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
    if (source == nullptr) { ThrowProblem(archive); }
    const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
        zip_source_free(source);
        ThrowProblem(archive);
    }
    const auto entry = static_cast<zip_uint64_t>(index);
    if (zip_file_set_dostime(archive, entry, EntryTime, EntryDate, 0) != 0) {
        ThrowProblem(archive);
    }
}

std::string ReadAll(zip_source_t* source) {
    zip_stat_t facts;
    if (zip_source_stat(source, &facts) != 0 || zip_source_open(source) != 0) {
        throw std::runtime_error("archive: cannot be read back");
    }
    std::string bytes(facts.size, '\0');
    const zip_int64_t length = zip_source_read(source, bytes.data(), bytes.size());
    zip_source_close(source);
    if (length < 0 || static_cast<std::size_t>(length) != bytes.size()) {
        throw std::runtime_error("archive: cannot be read back");
    }
    return bytes;
}

/// @param entries outlive the call's archive: libzip reads them when it closes
std::string PackArchive(const std::map<std::string, std::string>& entries) {
    zip_error_t error;
    zip_error_init(&error);
    const std::unique_ptr<zip_source_t, ZipDeleter> bytes(
        zip_source_buffer_create(nullptr, 0, 0, &error));
    std::unique_ptr<zip_t, ZipDeleter> archive(
        bytes == nullptr ? nullptr : zip_open_from_source(bytes.get(), ZIP_TRUNCATE, &error));
    zip_error_fini(&error);
    if (archive == nullptr) { throw std::runtime_error("archive: cannot be created"); }
    zip_source_keep(bytes.get());
    for (const auto& [name, content] : entries) { AddEntry(archive.get(), name, content); }
    if (zip_close(archive.get()) != 0) { ThrowProblem(archive.get()); }
    // Closing has freed it.
    static_cast<void>(archive.release()); // NOLINT(bugprone-unused-return-value)
    return ReadAll(bytes.get());
}

/// The attachment's name: in UTF-8 for those who know RFC 6266, and in ASCII for the others.
std::string NameAttachment(const std::string& fileName) {
    std::string plain;
    std::string encoded;
    for (const char c : fileName) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isSafe = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                            (c >= 'A' && c <= 'Z') || c == '-' || c == '.' || c == '_';
        plain += byte < 0x80 && c != '%' ? c : '_';
        encoded += isSafe ? std::string(1, c) : EscapeByte(c);
    }
    std::string disposition = "attachment; filename=\"" + plain + "\"";
    if (plain != fileName) { disposition += "; filename*=UTF-8''" + encoded; }
    return disposition;
}

} // namespace

Answer GenerateProject(const json& request) {
    static const json noRequest = json::object();
    MemberReader members(request.is_null() ? noRequest : request, "");
    const std::string name = members.IsGiven("name") ? members.ReadText("name") : "project";
    if (!IsFileName(name)) { members.Refuse("name", "cannot be a file's name"); }

    std::map<std::string, std::string> entries;
    entries[name + "/project.json"] = request.dump(2) + "\n";
    if (members.IsGiven("files")) {
        const json& files = members.Find("files");
        MemberReader texts(files, "files");
        for (const auto& file : files.items()) {
            if (!IsFileName(file.key())) { texts.Refuse(file.key(), "cannot be a file's name"); }
            if (!file.value().is_string()) { texts.Refuse(file.key(), "must be a string"); }
            entries[name + "/files/" + file.key()] = file.value().get<std::string>();
        }
    }

    Answer answer;
    answer.contentType = "application/zip";
    answer.body = PackArchive(entries);
    answer.headers.emplace_back("Content-Disposition", NameAttachment(name + ".zip"));
    return answer;
}

} // namespace VarnelBase::Emulation
