"""Looks at the dynamic symbols of a shared library, with readelf, ldd, nm and c++filt."""
import re
import subprocess


def run(*command, text=None):
    return subprocess.run(command, input=text, capture_output=True, text=True, check=True).stdout


class Library:
    def __init__(self, path):
        self.path = path
        dynamic = run("readelf", "-dW", path)
        self.needed = re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic)
        self.soname = (re.findall(r"\(SONAME\).*\[(.+)\]", dynamic) or [None])[0]

    def symbols(self, which):
        """The mangled names, without versions. Weak ones that are undefined need no definition."""
        found = set()
        for line in run("nm", "-D", which, self.path).splitlines():
            kind, name = line.split()[-2:]
            if kind not in "wv":
                found.add(name.split("@")[0])
        return found

    def defined(self):
        return self.symbols("--defined-only")

    def undefined(self):
        return self.symbols("--undefined-only")

    def needed_libraries(self):
        """The libraries that it names as needed, as the loader finds them."""
        paths = dict(re.findall(r"^\s*(\S+) => (\S+)", run("ldd", self.path), re.MULTILINE))
        return [Library(paths[name]) for name in self.needed if name in paths]


# How the compiler spells std::string in a signature.
STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"


def demangled(symbols):
    """The names as in the sources, sorted."""
    if not symbols:
        return []
    names = run("c++filt", text="\n".join(sorted(symbols))).splitlines()
    return sorted(name.replace(STRING, "std::string").replace("[abi:cxx11]", "") for name in names)


def host_surface(library):
    """What the library leaves undefined and no needed library defines: what its host must bring."""
    missing = library.undefined()
    for needed in library.needed_libraries():
        missing -= needed.defined()
    return missing
