#!/usr/bin/python3
"""Builds the wheel cmnsysprotobuf and unpacks it: the tree that the Debian package installs.

Usage: build_wheel.py WORK_FOLDER PAIRINGS PYPROJECT PROTOC IMPORT_FOLDER... -- SCHEMA_FILE...

WORK_FOLDER/dist gets the wheel, WORK_FOLDER/modules its content. Schema files are given by the paths
under which they are imported.
"""

import glob
import os
import shutil
import subprocess
import sys
import zipfile

from google.protobuf import descriptor_pb2

HERE = os.path.dirname(os.path.abspath(__file__))


def main():
    options, files = sys.argv[1:], []
    if "--" in options:
        files = options[options.index("--") + 1 :]
        options = options[: options.index("--")]
    if len(options) < 5 or not files:
        sys.exit(__doc__)
    work, pairings, pyproject, protoc, *imports = options
    source, dist, modules = (os.path.join(work, name) for name in ("source", "dist", "modules"))
    for folder in (source, dist, modules):
        shutil.rmtree(folder, ignore_errors=True)

    shutil.copytree(
        os.path.join(HERE, "cmnsysprotobuf"),
        os.path.join(source, "cmnsysprotobuf"),
        ignore=shutil.ignore_patterns("__pycache__"),
    )
    shutil.copy(pairings, os.path.join(source, "cmnsysprotobuf", "pairings.json"))
    shutil.copy(os.path.join(HERE, "README.md"), source)
    shutil.copy(pyproject, os.path.join(source, "pyproject.toml"))
    generate([protoc, *(f"--proto_path={folder}" for folder in imports)], files, source)

    run(
        [sys.executable, "-m", "build", "--wheel", "--no-isolation", "--skip-dependency-check"]
        + ["--outdir", dist, source]
    )
    (wheel,) = glob.glob(dist + "/*.whl")
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(modules)


def generate(protoc, files, out):
    """Writes modules and stubs, and those for gRPC of the files that have services."""
    descriptor_set = os.path.join(out, "schema.desc")
    run([*protoc, "--descriptor_set_out=" + descriptor_set, *files])
    with open(descriptor_set, "rb") as file:
        schema = descriptor_pb2.FileDescriptorSet.FromString(file.read())
    os.remove(descriptor_set)
    with_services = [file.name for file in schema.file if file.service]

    run([*protoc, f"--python_out={out}", f"--mypy_out=quiet:{out}", *files])
    run(
        [*protoc, f"--grpc_python_out={out}", f"--mypy_grpc_out=quiet:{out}"]
        + [f"--plugin=protoc-gen-grpc_python={shutil.which('grpc_python_plugin')}", *with_services]
    )
    for name in with_services:
        # The plugin keeps the dots of the file's name, with which nobody could import the module.
        folder, base = os.path.split(name[: -len(".proto")])
        wanted = os.path.join(out, folder, *base.split(".")) + "_pb2_grpc.py"
        os.replace(os.path.join(out, folder, base) + "_pb2_grpc.py", wanted)
    # Each area says for itself that it is typed, because wheels of siblings share the folder above.
    for area in {os.path.dirname(name) for name in files}:
        open(os.path.join(out, area, "py.typed"), "w").close()


def run(command):
    """Runs a command and shows what it says only when it fails."""
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        sys.exit(f"{result.stdout}\n{command[0]} failed ({result.returncode})")


if __name__ == "__main__":
    main()
