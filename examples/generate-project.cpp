// Has the service generate a project and keeps the file.
//
//   generate-project FILE
#include <ApiConnector.h>

#include <fstream>

int main(int argc, char* argv[]) {
    if (argc != 2) { return 2; }
    VarnelBase::ApiConnector connector;
    const VarnelBase::json request = VarnelBase::json::object({{"name", "Bridge"}});
    const VarnelBase::json project = connector.GenerateProject(request);
    if (project.is_null()) { return 1; }
    std::ofstream file(argv[1], std::ios::binary);
    file << project["body"].get_ref<const std::string&>();
    return file.flush() ? 0 : 1;
}
