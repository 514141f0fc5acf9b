"""The client library as other projects find it: installed, with nothing of the tree around it.

    test_installation.py BUILD COMPILER FLAGS LAUNCHER

installs the library of a build into a temporary folder and builds the examples with it.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[3]
EXAMPLES = ROOT / "examples" / "cpp"
STRICT = ["-std=c++17", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]
WRONG_USAGE = 64


def run(*command, expected=0, **options):
    """What a command prints; it must end with the expected status."""
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False, **options)
    if done.returncode != expected:
        raise AssertionError(f"{command[0]} ended with {done.returncode}, not {expected}:\n{done.stdout}")
    return done.stdout


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="mux-client.")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.prefix = cls.folder / "installed"
        run("cmake", "--install", f"{BUILD}/tools/client", "--component", "client", "--prefix", cls.prefix)
        cls.headers = sorted(cls.prefix.glob("include/dw-hal-mux/client/*.h"))
        cls.library = next(cls.prefix.glob("lib/**/libdw-hal-mux-client.a"))

    def configure(self, source, build, **options):
        return run("cmake", "-G", "Ninja", "-S", source, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
                   f"-DCMAKE_CXX_COMPILER={COMPILER}", f"-DCMAKE_CXX_FLAGS={FLAGS}",
                   f"-DCMAKE_CXX_COMPILER_LAUNCHER={LAUNCHER}", **options)

    def assert_prints_its_usage(self, program):
        self.assertIn("Usage: ", run(program, expected=WRONG_USAGE))

    def test_the_headers_are_those_that_the_guide_lists(self):
        listed = re.findall(r"^\| `(\w+\.h)` \|", (ROOT / "docs" / "client-library.md").read_text(), re.MULTILINE)
        self.assertEqual(sorted(listed), [header.name for header in self.headers])

    def test_each_header_compiles_by_itself(self):
        for header in self.headers:
            run(COMPILER, *STRICT, f"-I{self.prefix}/include", "-include", header, "-fsyntax-only", "-x", "c++",
                os.devnull)

    def test_no_header_needs_anything_but_its_siblings_and_the_standard_library(self):
        for header in self.headers:
            needed = run(COMPILER, "-std=c++17", "-M", "-x", "c++", f"-I{self.prefix}/include", header)
            self.assertNotRegex(needed, rf"{ROOT}/|asio|rapidjson|uuid|openssl")

    # A program may use these libraries with other settings, and the linker would mix the two up.
    def test_the_library_has_no_names_of_libraries_that_programs_may_use(self):
        names = run("nm", "--demangle", "--extern-only", "--defined-only", self.library)
        self.assertIn("MuxClient::Client::Ask(", names)
        self.assertNotRegex(names, r"\b(asio|rapidjson)::")

    def test_no_file_names_a_folder_of_the_build(self):
        for path in self.prefix.rglob("*"):
            if path.suffix in (".h", ".cmake", ".pc"):
                self.assertNotRegex(path.read_text(), rf"{ROOT}/|{BUILD}/|tools/client", path)

    def test_a_cmake_project_finds_it(self):
        build = self.folder / "cmake"
        self.configure(EXAMPLES, build)
        run("cmake", "--build", build)
        self.assert_prints_its_usage(build / "open-door")
        self.assert_prints_its_usage(build / "watch-cards")

    def test_a_cmake_project_does_not_find_another_major_version(self):
        project = self.folder / "next"
        shutil.copytree(EXAMPLES, project)
        lists = project / "CMakeLists.txt"
        lists.write_text(lists.read_text().replace("dw-hal-mux-client 2 ", "dw-hal-mux-client 3 "))
        found = self.configure(project, self.folder / "next-build", expected=1)
        self.assertRegex(re.sub(r"\s+", " ", found), r"compatible with requested version \"3\"")

    def test_pkg_config_finds_it(self):
        paths = {"PKG_CONFIG_PATH": str(self.library.parent / "pkgconfig")}
        options = run("pkg-config", "--cflags", "--libs", "dw-hal-mux-client", env={**os.environ, **paths}).split()
        program = self.folder / "open-door"
        run(COMPILER, *FLAGS.split(), *STRICT, EXAMPLES / "OpenDoor.cpp", "-o", program, *options)
        self.assert_prints_its_usage(program)


if __name__ == "__main__":
    BUILD, COMPILER, FLAGS, LAUNCHER = sys.argv[1:5]
    unittest.main(argv=sys.argv[:1])
