#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The files by which package managers build or find the library can be read, and agree with the project:
the vcpkg port, the Conan recipe, and with --cps FILE an installed .cps file, whose paths must exist.
"""

import argparse
import ast
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGING = ROOT / "packaging"


def project_version() -> str:
    text = (ROOT / "CMakeLists.txt").read_text()
    return re.search(r"^ +VERSION ([\d.]+)$", text, re.MULTILINE)[1]


def check_vcpkg() -> list[str]:
    port = json.loads((PACKAGING / "vcpkg/vcpkg.json").read_text())
    problems = []
    if port["version"] != project_version():
        problems.append(f"vcpkg.json: version {port['version']}")
    if not re.fullmatch(r"[a-z0-9]+(-[a-z0-9]+)*", port["name"]):
        problems.append(f"vcpkg.json: no name of a port: {port['name']}")
    script = (PACKAGING / "vcpkg/portfile.cmake").read_text()
    if script.count("(") != script.count(")"):
        problems.append("portfile.cmake: parentheses don't match")
    return problems + unknown_options("portfile.cmake", re.findall(r"-D(QZ_\w+)=", script))


def check_conan() -> list[str]:
    text = (PACKAGING / "conan/conanfile.py").read_text()
    recipes = [node for node in ast.parse(text).body if isinstance(node, ast.ClassDef)]
    if len(recipes) != 1:
        return ["conanfile.py: not one class"]
    values = {node.targets[0].id: ast.literal_eval(node.value) for node in recipes[0].body
              if isinstance(node, ast.Assign)}
    methods = {node.name for node in recipes[0].body if isinstance(node, ast.FunctionDef)}
    problems = [f"conanfile.py: no {name}" for name in ("layout", "generate", "build", "package",
                                                        "package_info") if name not in methods]
    if values["version"] != project_version():
        problems.append(f"conanfile.py: version {values['version']}")
    return problems + unknown_options("conanfile.py", re.findall(r'"(QZ_\w+)"', text))


def unknown_options(name: str, options: list[str]) -> list[str]:
    text = (ROOT / "CMakeLists.txt").read_text()
    return [f"{name}: no option {option}" for option in options
            if not re.search(rf"^option\({option}\b", text, re.MULTILINE)]


def check_cps(path: pathlib.Path) -> list[str]:
    package = json.loads(path.read_text())
    problems = []
    if package["version"] != project_version():
        problems.append(f"{path.name}: version {package['version']}")
    folder = package["cps_path"].removeprefix("@prefix@/")
    prefix = path.resolve().parents[len(pathlib.PurePath(folder).parts)]
    for name, component in package["components"].items():
        for place in [component["location"], *component.get("includes", {}).get("cpp", [])]:
            if not pathlib.Path(place.replace("@prefix@", str(prefix))).exists():
                problems.append(f"{path.name}: {name}: no {place}")
        problems += [f"{path.name}: {name}: no component {other}"
                     for other in component.get("requires", [])
                     if other.removeprefix(":") not in package["components"]]
    return problems


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cps", type=pathlib.Path)
    arguments = parser.parse_args()
    problems = check_cps(arguments.cps) if arguments.cps else check_vcpkg() + check_conan()
    print("\n".join(problems), end="\n" if problems else "")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
