import re
from pathlib import Path

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout


class VarnelBase(ConanFile):
    name = "varnelbase"
    license = "MIT"
    description = "C++ client library for a remote simulation service"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"client": [True, False], "shared": [True, False], "fPIC": [True, False]}
    default_options = {"client": False, "shared": True, "fPIC": True, "cpp-httplib/*:with_openssl": True}
    implements = ["auto_shared_fpic"]
    exports = "CMakeLists.txt"
    exports_sources = "CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "client/*", "cmake/*", "docs/*", "src/*"

    def set_version(self):
        project = Path(self.recipe_folder, "CMakeLists.txt").read_text()
        self.version = re.search(r"project\(VarnelBase VERSION ([0-9.]+)", project).group(1)

    def requirements(self):
        # The public headers include both, and the size of the classes follows their releases. Configuring
        # says why releases of cpp-httplib are left out, and what is different with 0.29 to 0.48.
        releases = ">=0.11.4 <=0.17.0 || >=0.18.1 <0.19 || >0.19.0 <0.24 || >=0.29 <1"
        self.requires(f"cpp-httplib/[{releases}]", transitive_headers=True, transitive_libs=True)
        self.requires("nlohmann_json/[>=3.11 <4]", transitive_headers=True)
        self.requires("openssl/[>=3 <4]", transitive_headers=True, transitive_libs=True)
        if self.options.client:
            self.requires("libcurl/[>=7.68 <9]", transitive_libs=True)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["VARNELBASE_BUILD_CLIENT"] = bool(self.options.client)
        for part in ("CLI", "EMULATOR", "EXAMPLES", "STUDY", "TESTS"):
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
