#include <sys/stat.h>

#include "CommandTree.h"
#include "files/DownloadedFile.h"
#include "output/ExitStatus.h"
#include "session/ArgumentChecks.h"
#include "session/Changes.h"

namespace VarnelBase {

namespace {

constexpr const char* UnnamedProject = "project";

bool IsDirectory(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void RequireFree(const std::string& path, bool isForced) {
    struct stat status {};
    if (!isForced && lstat(path.c_str(), &status) == 0) {
        throw CommandError(ExitStatus::Refused, path + ": exists (--force replaces it)");
    }
}

/// Where the file goes: as -O says, or in that directory under the name that the service gives it.
std::string ChoosePath(const std::string& given, const json& envelope) {
    if (!given.empty() && !IsDirectory(given)) { return given; }
    std::string name = envelope.contains("filename")
                           ? ReadFileName(envelope.at("filename").get_ref<const std::string&>())
                           : "";
    if (name.empty()) { name = UnnamedProject; }
    return given.empty() ? name : given + "/" + name;
}

void GenerateProject(Session& session) {
    const Arguments& given = session.arguments;
    const Change change{"POST", "/generateProject", ReadData(given.data)};
    if (!given.file.empty() && given.file != "-" && !IsDirectory(given.file)) {
        RequireFree(given.file, given.isForced);
    }
    if (!BeginChange(session, change)) { return; }

    const json envelope =
        RequireConfirmation(change, session.Connect().GenerateProject(*change.body));
    const auto& bytes = envelope.at("body").get_ref<const std::string&>();
    if (given.file == "-") {
        WriteOutput(bytes);
        return;
    }
    const std::string path = ChoosePath(given.file, envelope);
    RequireFree(path, given.isForced);
    WriteFileWhole(path, bytes, given.isForced);
    session.Print(json::object({{"file", path}, {"bytes", bytes.size()}}));
}

} // namespace

void AddProjectCommands(CLI::App& root, Session& session) {
    CLI::App& project = AddNoun(root, "project", "Project files", "varnel project generate --help");
    CLI::App& generate = AddCommand(
        project, session, "generate", "Have the service generate a project file", GenerateProject,
        {R"(varnel project generate --data '{"name": "bridge"}')",
         "varnel project generate --data @request.json -O bridge.zip --force",
         "varnel project generate --data @request.json -O - | sha256sum"});
    AddDataOption(generate, session, "What to generate")->required();
    generate
        .add_option("-O,--output-file", session.arguments.file,
                    "File to write, directory to put it into, or - for standard output; unless "
                    "given, a file of the service's name here")
        ->type_name("FILE");
    generate.add_flag("--force", session.arguments.isForced, "Replace a file that exists");
    AddDryRunOption(generate, session);
}

} // namespace VarnelBase
