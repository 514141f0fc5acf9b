"""Writes the files of the page, compressed, as a C++ source: make_web_files.py OUTPUT PATH=FILE...

The same files give the same source.
"""
import gzip
import hashlib
import pathlib
import sys

TYPES = {
    ".html": "text/html; charset=utf-8",
    ".js": "text/javascript; charset=utf-8",
    ".css": "text/css; charset=utf-8",
    ".svg": "image/svg+xml",
}
BYTES_A_LINE = 24
HEAD = """// Made by make_web_files.py.
#include "proxy/web/WebFiles.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace MuxProxy {
namespace {

template <std::size_t length>
std::string_view TextOf(const std::array<unsigned char, length>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), length};
}

"""
TAIL = """
}  // namespace

const WebFile* FindWebFile(std::string_view path) {
    static const WebFile files[] = {
%s
    };
    const auto hasPath = [path](const WebFile& file) { return file.path == path; };
    const auto* const file = std::find_if(std::begin(files), std::end(files), hasPath);
    return file != std::end(files) ? file : nullptr;
}

}  // namespace MuxProxy
"""


def array(name, content):
    lines = (content[begin : begin + BYTES_A_LINE] for begin in range(0, len(content), BYTES_A_LINE))
    body = "\n".join("    " + "".join(f"{byte}," for byte in line) for line in lines)
    return f"constexpr std::array<unsigned char, {len(content)}> {name} = {{\n{body}\n}};\n"


def main(output, *pairs):
    arrays, rows = [], []
    for number, pair in enumerate(pairs):
        path, file = pair.split("=", 1)
        content = pathlib.Path(file).read_bytes()
        etag = hashlib.sha256(content).hexdigest()[:32]
        kind = TYPES[pathlib.Path(file).suffix]
        arrays.append(array(f"kFile{number}", gzip.compress(content, 9, mtime=0)))
        rows.append(f'        {{"{path}", "{kind}", TextOf(kFile{number}), "\\"{etag}\\""}},')
    pathlib.Path(output).write_text(HEAD + "\n".join(arrays) + TAIL % "\n".join(rows), encoding="utf-8")


main(*sys.argv[1:])
