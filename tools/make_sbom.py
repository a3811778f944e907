#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists what the Debian packages contain, as SPDX 2.3: make_sbom.py FOLDER OUTPUT

Each package of FOLDER is a package of the list, and each of its files has its SHA-256 there. With
--check OUTPUT is compared with the packages instead. The time of the list is SOURCE_DATE_EPOCH.
"""

import argparse
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

LICENSE = "MIT"
# Headers whose code is compiled into the libraries.
BUILT_WITH = ("utfcpp", "BSL-1.0")
SUPPLIER = "Organization: The libqzSystem authors"


def spdx_id(*parts: str) -> str:
    return "SPDXRef-" + "-".join(re.sub(r"[^A-Za-z0-9.]+", "-", part).strip("-") for part in parts)


def field(package: pathlib.Path, name: str) -> str:
    return subprocess.run(["dpkg-deb", "-f", package, name], check=True, capture_output=True,
                          text=True).stdout.strip()


def digest(path: pathlib.Path, algorithm: str) -> str:
    return hashlib.new(algorithm, path.read_bytes()).hexdigest()


def checksums(path: pathlib.Path) -> list[dict]:
    return [{"algorithm": name.upper(), "checksumValue": digest(path, name)}
            for name in ("sha1", "sha256")]


def describe(package: pathlib.Path) -> tuple[dict, list[dict]]:
    """One package of the list, and its files."""
    name = field(package, "Package")
    files = []
    with tempfile.TemporaryDirectory() as root:
        subprocess.run(["dpkg-deb", "-x", package, root], check=True)
        for path in sorted(pathlib.Path(root).rglob("*")):
            if path.is_file() and not path.is_symlink():
                relative = path.relative_to(root).as_posix()
                files.append({
                    "fileName": f"./{relative}",
                    "SPDXID": spdx_id(name, relative),
                    "checksums": checksums(path),
                    "licenseConcluded": LICENSE,
                    "copyrightText": "NOASSERTION",
                })
    of_files = "".join(sorted(digest["checksumValue"] for each in files
                              for digest in each["checksums"] if digest["algorithm"] == "SHA1"))
    description = {
        "name": name,
        "SPDXID": spdx_id("package", name),
        "versionInfo": field(package, "Version"),
        "packageFileName": package.name,
        "supplier": SUPPLIER,
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": True,
        "packageVerificationCode": {
            "packageVerificationCodeValue": hashlib.sha1(of_files.encode()).hexdigest()},
        "checksums": checksums(package),
        "licenseConcluded": LICENSE,
        "licenseDeclared": LICENSE,
        "copyrightText": "2026 The libqzSystem authors",
        "hasFiles": [each["SPDXID"] for each in files],
    }
    return description, files


def make(folder: pathlib.Path) -> dict:
    described = [describe(path) for path in sorted(folder.glob("*.deb"))]
    if not described:
        raise SystemExit(f"no packages in {folder}")
    name, license_name = BUILT_WITH
    headers = {
        "name": name,
        "SPDXID": spdx_id("package", name),
        "supplier": "NOASSERTION",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": license_name,
        "licenseDeclared": license_name,
        "copyrightText": "NOASSERTION",
    }
    made = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.UTC
                                           if hasattr(datetime, "UTC") else datetime.timezone.utc)
    identity = hashlib.sha256("".join(
        each["checksums"][1]["checksumValue"] for each, _ in described).encode()).hexdigest()
    relations = []
    for each, _ in described:
        relations.append(("SPDXRef-DOCUMENT", "DESCRIBES", each["SPDXID"]))
        if re.fullmatch(r"libqzsystem(ext)?3\.0", each["name"]):
            relations.append((headers["SPDXID"], "BUILD_DEPENDENCY_OF", each["SPDXID"]))
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": "libqzSystem",
        "documentNamespace": f"urn:sha256:{identity}",
        "creationInfo": {
            "created": made.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": [SUPPLIER, "Tool: make_sbom.py"],
        },
        "packages": [each for each, _ in described] + [headers],
        "files": [file for _, files in described for file in files],
        "relationships": [{"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": two}
                          for one, kind, two in relations],
    }


def find_problems(sbom: dict) -> list[str]:
    """What a reader of the format would refuse."""
    ids = [each["SPDXID"] for each in sbom["packages"] + sbom["files"]]
    problems = [f"{each} is there twice" for each in sorted(set(ids)) if ids.count(each) > 1]
    known = {*ids, sbom["SPDXID"]}
    for relation in sbom["relationships"]:
        problems += [f"{relation[end]} is unknown" for end in ("spdxElementId", "relatedSpdxElement")
                     if relation[end] not in known]
    problems += [f"{each} is no identifier" for each in ids
                 if not re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", each)]
    return problems


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("output", type=pathlib.Path)
    parser.add_argument("--check", action="store_true")
    arguments = parser.parse_args()
    sbom = make(arguments.folder)
    if problems := find_problems(sbom):
        print("\n".join(problems))
        return 1
    text = json.dumps(sbom, indent=1) + "\n"
    if not arguments.check:
        arguments.output.write_text(text)
        print(f"{len(sbom['files'])} files in {arguments.output}")
        return 0
    if arguments.output.read_text() != text:
        print(f"{arguments.output} is not the list of the packages in {arguments.folder}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
