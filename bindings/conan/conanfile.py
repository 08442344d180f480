"""Conan 2 recipe: `conan create bindings/conan`, in the tree that it lies in.

For Linux the library is built from the sources. For Windows it is the packaged one, which any compiler can link: make
dist/ with ./dev package first.
"""

import os

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load, rm, rmdir, unzip


class KyvMathConan(ConanFile):
    name = "kyvmath"
    description = "Resizing of images, and conversion between point-spread and optical transfer functions"
    topics = ("image", "resize", "psf", "otf", "fft")
    # license = ...  # none has been chosen yet
    # url, homepage = ...  # for a remote
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}

    @property
    def _tree(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        header = load(self, os.path.join(self._tree, "include", "KyvMath.h"))
        self.version = header.split('KYVMATH_VERSION_STRING "')[1].split('"')[0]

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "cmake/*", "include/*", "src/*", "bindings/pascal/*", "examples/*", "docs/*",
                        "README.md", "CHANGELOG.md", f"dist/KyvMath-{self.version}-win??.zip"):
            copy(self, pattern, self._tree, self.export_sources_folder)

    def validate(self):
        known = {"Linux": ("x86_64",), "Windows": ("x86", "x86_64")}
        if self.settings.arch not in known.get(str(self.settings.os), ()):
            raise ConanInvalidConfiguration("KyvMath is made for x86-64 Linux and for Windows on x86 and x86-64")
        if self.settings.os == "Windows" and not self.options.shared:
            raise ConanInvalidConfiguration("On Windows KyvMath is a DLL")

    def package_id(self):
        if self.info.settings.os == "Windows":  # one DLL for every compiler, debug builds too
            del self.info.settings.compiler
            del self.info.settings.build_type

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for option in ("BUILD_TESTS", "BUILD_BENCHMARKS", "BUILD_TOOLS", "WERROR"):
            toolchain.cache_variables[f"KYVMATH_{option}"] = False
        toolchain.generate()

    def build(self):
        if self.settings.os == "Windows":
            bits = "win32" if self.settings.arch == "x86" else "win64"
            archive = os.path.join(self.source_folder, "dist", f"KyvMath-{self.version}-{bits}.zip")
            unzip(self, archive, destination=self.build_folder, strip_root=True)
        else:
            cmake = CMake(self)
            cmake.configure()
            cmake.build(target="KyvMath")
            cmake.build(target="KyvMathStatic")

    def package(self):
        if self.settings.os == "Windows":
            for pattern in ("include/*", "lib/*", "bin/KyvMath.dll"):
                copy(self, pattern, self.build_folder, self.package_folder)
            copy(self, "NOTICES.md", os.path.join(self.build_folder, "share", "doc", "KyvMath"),
                 os.path.join(self.package_folder, "licenses"))
        else:
            CMake(self).install()
            rm(self, "*.a" if self.options.shared else "*.so*", os.path.join(self.package_folder, "lib"))
            copy(self, "NOTICES.md", os.path.join(self.source_folder, "cmake", "package"),
                 os.path.join(self.package_folder, "licenses"))
        for folder in ("lib/cmake", "lib/pkgconfig", "share", "examples"):  # Conan makes its own
            rmdir(self, os.path.join(self.package_folder, folder))
        rm(self, "README.md", self.package_folder)

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "KyvMath")
        self.cpp_info.set_property("cmake_target_name", "KyvMath::KyvMath")
        self.cpp_info.set_property("pkg_config_name", "KyvMath")
        self.cpp_info.libs = ["KyvMath"]
        if self.settings.os != "Windows" and not self.options.shared:
            self.cpp_info.system_libs = ["stdc++", "m", "pthread"]
