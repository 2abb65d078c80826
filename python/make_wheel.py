#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes a wheel of a build, without a network.

usage: make_wheel.py BUILD OUT

BUILD is a build directory with TRACEWELL_BUILD_PYTHON; OUT takes the wheel, which brings the
library along. The other libraries that it needs are the system's.
"""

import base64
import glob
import hashlib
import os
import re
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

# The earliest that a ZIP knows: two wheels of the same build are the same.
TIME = (1980, 1, 1, 0, 0, 0)


def version_of(build):
    with open(os.path.join(build, "CMakeCache.txt"), encoding="utf-8") as cache:
        return re.search(r"^CMAKE_PROJECT_VERSION:\w+=(.+)$", cache.read(), re.M).group(1)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    with tempfile.TemporaryDirectory() as place:
        # Installed, so that it looks for the library beside itself.
        subprocess.run(["cmake", "--install", sys.argv[1], "--component", "python", "--prefix",
                        place, "--strip"], check=True, stdout=subprocess.DEVNULL)
        make(sys.argv[1], sys.argv[2], place)


def make(build, out, place):
    version = version_of(build)
    files = {}
    for directory, _, names in os.walk(place):
        for name in sorted(names):
            files["tracewell/" + name] = os.path.join(directory, name)
    libraries = [path for path in glob.glob(os.path.join(build, "**", "libtracewell_kernel.so.*"),
                                            recursive=True) if not os.path.islink(path)]
    modules = [name for name in files if name.endswith(".so")]
    if len(libraries) != 1 or len(modules) != 1:
        sys.exit("make_wheel.py: %s: build it with TRACEWELL_BUILD_PYTHON first" % build)
    # Under the name by which the module asks for it.
    soname = re.match(r"libtracewell_kernel\.so\.\d+", os.path.basename(libraries[0])).group(0)
    files["tracewell/" + soname] = libraries[0]
    tag = "cp%d%d-cp%d%d-%s" % (*sys.version_info[:2], *sys.version_info[:2],
                                re.sub(r"[.-]", "_", sysconfig.get_platform()))
    information = "tracewell-%s.dist-info/" % version
    texts = {
        information + "METADATA": "Metadata-Version: 2.1\nName: tracewell\nVersion: %s\n"
                                  "Summary: Recordings of simulations as numpy arrays\n"
                                  "License: BSD-3-Clause\nRequires-Dist: numpy\n"
                                  "Requires-Python: >=3.9\n" % version,
        information + "WHEEL": "Wheel-Version: 1.0\nGenerator: tracewell\n"
                               "Root-Is-Purelib: false\nTag: %s\n" % tag,
    }
    path = os.path.join(out, "tracewell-%s-%s.whl" % (version, tag))
    record = []
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        def add(name, data, mode):
            entry = zipfile.ZipInfo(name, TIME)
            entry.external_attr = (0o100000 | mode) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(entry, data)
            digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
            record.append("%s,sha256=%s,%d" % (name, digest, len(data)))
        for name, source in files.items():
            with open(source, "rb") as file:
                add(name, file.read(), 0o755 if ".so" in name else 0o644)
        for name, text in texts.items():
            add(name, text.encode(), 0o644)
        record.append(information + "RECORD,,")
        add(information + "RECORD", ("\n".join(record) + "\n").encode(), 0o644)
    print(path)


if __name__ == "__main__":
    main()
