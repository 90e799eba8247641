from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout


class VarnelBase(ConanFile):
    name = "varnelbase"
    version = "0.1.0"
    license = "MIT"
    description = "C++ client library for a remote simulation service"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True, "cpp-httplib/*:with_openssl": True}
    implements = ["auto_shared_fpic"]
    exports_sources = "CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "cmake/*", "docs/*", "src/*"

    def requirements(self):
        # The public headers include both, and the size of the classes follows their releases.
        self.requires("cpp-httplib/0.15.3", transitive_headers=True, transitive_libs=True)
        self.requires("nlohmann_json/3.12.0", transitive_headers=True)
        self.requires("openssl/[>=3 <4]", transitive_headers=True, transitive_libs=True)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        for part in ("CLI", "CLIENT", "EMULATOR", "EXAMPLES", "TESTS"):
            toolchain.cache_variables[f"VARNELBASE_BUILD_{part}"] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = ["lib/cmake/VarnelBase"]
