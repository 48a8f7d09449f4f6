"""Builds the wheel, for pip and for the Debian package, with nothing but the standard library.

A wheel of pure Python is a zip archive of the package and of a folder that describes it. The same
sources give the same bytes: SOURCE_DATE_EPOCH, or else 1980, is the time of all files.
"""

import base64
import hashlib
import os
import time
import tomllib
import zipfile
from pathlib import Path

HERE = Path(__file__).parent
EARLIEST = 315532800  # 1980, where the time of a zip archive begins


def _metadata(project):
    return {
        "METADATA": "\n".join(
            (
                "Metadata-Version: 2.1",
                f"Name: {project['name']}",
                f"Version: {project['version']}",
                f"Summary: {project['description']}",
                f"Requires-Python: {project['requires-python']}",
                "",
            )
        ),
        "WHEEL": "Wheel-Version: 1.0\nGenerator: build_wheel\n"
        "Root-Is-Purelib: true\nTag: py3-none-any\n",
        "entry_points.txt": "".join(
            f"[{group}]\n" + "".join(f"{name} = {target}\n" for name, target in entries.items())
            for group, entries in project["entry-points"].items()
        ),
    }


def _record(files):
    lines = []
    for name, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
        lines.append(f"{name},sha256={digest},{len(content)}\n")
    return "".join(lines)


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    project = tomllib.loads((HERE / "pyproject.toml").read_text("utf-8"))["project"]
    name = f"{project['name']}-{project['version']}"
    files = {
        path.relative_to(HERE).as_posix(): path.read_bytes()
        for path in sorted(HERE.glob("quorin/*"))
        if path.is_file()
    }
    for file, text in _metadata(project).items():
        files[f"{name}.dist-info/{file}"] = text.encode()
    record = f"{name}.dist-info/RECORD"
    files[record] = (_record(files) + f"{record},,\n").encode()

    stamp = time.gmtime(max(EARLIEST, int(os.environ.get("SOURCE_DATE_EPOCH", 0))))[:6]
    wheel = f"{name}-py3-none-any.whl"
    with zipfile.ZipFile(Path(wheel_directory) / wheel, "w", zipfile.ZIP_DEFLATED) as archive:
        for file, content in files.items():
            entry = zipfile.ZipInfo(file, stamp)
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
    return wheel
