#!/usr/bin/env python3
"""Fails when a file includes a header across a layer boundary that the link graph does not allow.

The layers and their links are read from the mgimport8_layer() calls in src/. A file belongs to the
layer whose folder holds it most closely (src/wizard/sources/ is the wizard's, src/wizard/table/
the table's). It may include headers of its own layer and of the layers its layer links, directly
or through another layer. The public headers (include/MGImport8) include only each other; the
demo host (host/) reaches the library through the public headers alone; the library's own source
(src/library.cpp) wires all layers and may include any.

usage: scripts/check-layers.py [PROJECT-FOLDER]
"""
import os
import re
import sys

root = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), ".."))
src = os.path.join(root, "src")

LAYER_CALL = re.compile(r"mgimport8_layer\(\s*(\w+)(.*?)\)\s*$", re.S | re.M)
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
SYSTEM_INCLUDE = re.compile(r"^\s*#\s*include\s+<([^>]+)>", re.M)


def read(path):
    with open(path, encoding="utf-8", errors="replace") as f:
        return f.read()


def layer_calls():
    """Yields (name, folder relative to src/, directly linked layer names)."""
    for folder, _, files in os.walk(src):
        if "CMakeLists.txt" not in files:
            continue
        text = re.sub(r"#.*", "", read(os.path.join(folder, "CMakeLists.txt")))
        for match in LAYER_CALL.finditer(text):
            body = match.group(2)
            links = []
            if "LINK" in body.split():
                words = body.split()
                links = [w[len("mgimport8_"):] for w in words[words.index("LINK") + 1:]
                         if w.startswith("mgimport8_")]
            yield match.group(1), os.path.relpath(folder, src).replace(os.sep, "/"), links


def main():
    layers = {}
    for name, folder, links in layer_calls():
        layers[name] = (folder, links)
    if not layers:
        print("check-layers: no mgimport8_layer() calls found under " + src)
        return 2

    def reachable(name):
        seen, todo = {name}, [name]
        while todo:
            for linked in layers.get(todo.pop(), ("", []))[1]:
                if linked not in seen:
                    seen.add(linked)
                    todo.append(linked)
        return seen

    folders = sorted(((folder, name) for name, (folder, _) in layers.items()),
                     key=lambda item: -len(item[0]))

    def layer_of(relative):
        """The layers (several may share a folder) whose folder holds the file."""
        for folder, _ in folders:
            if relative.startswith(folder + "/"):
                return {name for f, name in folders if f == folder}
        return None

    problems = []

    def check_src(path):
        relative = os.path.relpath(path, src).replace(os.sep, "/")
        if "/" not in relative:
            return  # the library's own sources
        owners = layer_of(relative)
        if owners is None:
            problems.append(f"src/{relative}: in no layer's folder")
            return
        allowed = set().union(*(reachable(owner) for owner in owners))
        for included in INCLUDE.findall(read(path)):
            if "/" not in included:
                continue  # a header beside the file
            target = layer_of(included)
            if target is None:
                problems.append(f"src/{relative}: includes \"{included}\", in no layer")
            elif not target & allowed:
                problems.append(f"src/{relative}: includes \"{included}\" of layer "
                                f"{'/'.join(sorted(target))}, which {'/'.join(sorted(owners))} "
                                "does not link")

    def check_public(path, what, own_prefixes):
        relative = os.path.relpath(path, root).replace(os.sep, "/")
        text = read(path)
        for included in INCLUDE.findall(text):
            if not any(included.startswith(prefix) for prefix in own_prefixes) and "/" in included \
                    and not os.path.exists(os.path.join(os.path.dirname(path), included)):
                problems.append(f"{relative}: includes \"{included}\"; {what}")
        for included in SYSTEM_INCLUDE.findall(text):
            head = included.split("/")[0]
            if head in {layer_folder.split("/")[0] for layer_folder, _ in folders}:
                problems.append(f"{relative}: includes <{included}>; {what}")

    for base, check in ((src, check_src),):
        for folder, _, files in os.walk(base):
            for file in files:
                if file.endswith((".h", ".cpp")):
                    check(os.path.join(folder, file))

    host_folders = ("nodestore/", "nodeinventory/")
    for folder, _, files in os.walk(os.path.join(root, "include")):
        for file in files:
            if file.endswith(".h"):
                check_public(os.path.join(folder, file), "public headers include only each other",
                             ("MGImport8/",))
    for folder, _, files in os.walk(os.path.join(root, "host")):
        for file in files:
            if file.endswith((".h", ".cpp")):
                check_public(os.path.join(folder, file),
                             "the demo host uses the public headers only", host_folders)

    for problem in sorted(set(problems)):
        print(problem)
    if problems:
        print(f"check-layers: {len(set(problems))} include(s) across a layer boundary")
        return 1
    print(f"check-layers: {len(layers)} layers, no include across a boundary they do not link")
    return 0


if __name__ == "__main__":
    sys.exit(main())
