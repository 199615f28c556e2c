#!/usr/bin/env python3
"""Writes the dictionary tables dicom/*_table.cpp from the text files in tools/dictionary/facts.

    python3 tools/dictionary/generate_tables.py [--check]

With --check nothing is written; the exit status is 1 when a table is not what the facts give.
"""
import argparse
import csv
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
FACTS = HERE / "facts"
OUTPUT = HERE.parent.parent / "dicom"

MODULE_USAGE = {"M": 0, "C": 1, "U": 2}
ATTRIBUTE_USAGE = {"1": 3, "1C": 4, "2": 5, "2C": 6, "3": 7}


def rows(name):
    with open(FACTS / name, encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file, delimiter="\t", quoting=csv.QUOTE_NONE))


def text(value):
    if not value.isascii():
        raise SystemExit(f"not ASCII: {value}")
    return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'


def vr(letters):
    return f"MakeVr('{letters[0]}', '{letters[1]}')"


def number_list(values, per_line=16):
    lines = []
    for start in range(0, len(values), per_line):
        lines.append("    " + ", ".join(str(v) for v in values[start:start + per_line]) + ",")
    return lines


def table_file(facts, body):
    head = [
        "// Written by tools/dictionary/generate_tables.py; change the facts and run it again. Facts:",
        f"// {facts}",
        "",
        '#include "dicom/dictionary_tables.h"',
        "",
        "namespace talv {",
        "// clang-format off",
    ]
    return "\n".join(head + body + ["// clang-format on", "}  // namespace talv", ""])


def array(declaration, lines):
    return [f"{declaration} =", "{"] + lines + ["};"]


def sorted_order(keys):
    """Row numbers in ascending order of their keys; of equal keys the earlier row first."""
    return sorted(range(len(keys)), key=lambda row: (keys[row].encode(), row))


def element_table():
    elements = rows("elements.tsv")
    lines = ["    // tag        mask         name, VR, VM min, max, step"]
    for e in elements:
        vm_max = "kUnbounded" if e["vmMax"] == "n" else e["vmMax"]
        lines.append(f"    {{ 0x{e['tag']}, 0x{e['mask']}, {text(e['name'])}, {vr(e['vr'])}, "
                     f"{e['vmMin']}, {vm_max}, {e['vmStep']} }},")
    body = ["static constexpr uint32_t kUnbounded = 0xFFFFFFFF;", ""]
    body += array("constexpr ElementEntry kElementTable[]", lines)
    body += ["", "constinit const TagIndex kElementIndex{kElementTable};", ""]
    body += array("const uint16_t kElementsByName[]", number_list(sorted_order([e["name"] for e in elements])))
    return table_file("elements.tsv", body)


def uid_table():
    body = []
    for facts, table, index in (("uids.tsv", "kUidTable", "kUidsByText"),
                                ("uids-optional.tsv", "kOptionalUidTable", "kOptionalUidsByText")):
        uids = rows(facts)
        lines = ["    // UID, type, name"]
        lines += [f"    {{ {text(u['uid'])}, {u['type']}, {text(u['name'])} }}," for u in uids]
        body += array(f"const UidEntry {table}[]", lines) + [""]
        body += array(f"const uint16_t {index}[]", number_list(sorted_order([u["uid"] for u in uids]))) + [""]
    return table_file("uids.tsv and uids-optional.tsv", body[:-1])


class Attribute:
    def __init__(self, tag, usage):
        self.tag, self.usage, self.children = tag, usage, []

    def child(self, tag, usage):
        """The child with this tag: the one there already, or a new one."""
        for known in self.children:
            if known.tag == tag:
                return known
        self.children.append(Attribute(tag, usage))
        return self.children[-1]

    def flat(self, level):
        for child in self.children:
            yield level, child
            yield from child.flat(level + 1)


def iod_table():
    known = [(int(e["tag"], 16), int(e["mask"], 16)) for e in rows("elements.tsv")]
    modules = {}
    for r in rows("module_attributes.tsv"):
        tag, level = int(r["tag"], 16), int(r["level"])
        if not any(tag & mask == row for row, mask in known):
            raise SystemExit(f"no name for {r['tag']}")
        path = modules.setdefault(int(r["module"]), [Attribute(None, None)])
        del path[level:]
        path.append(path[-1].child(tag, ATTRIBUTE_USAGE[r["type"]]))

    attribute_lines, module_lines = ["    // tag, level, usage"], ["    // name, first attribute row, rows"]
    count = 0
    for number, m in enumerate(rows("modules.tsv"), start=1):
        if int(m["number"]) != number:
            raise SystemExit("modules.tsv: the numbers do not ascend from 1")
        flat = list(modules[number][0].flat(1)) if number in modules else []
        attribute_lines.append(f"    // {number}: {m['name']}")
        attribute_lines += [f"    {{ 0x{a.tag:08X}, {level}, {a.usage} }}," for level, a in flat]
        module_lines.append(f"    {{ {text(m['name'])}, {count}, {len(flat)} }},")
        count += len(flat)

    used = rows("iod_modules.tsv")
    use_lines, iod_lines = ["    // module number, usage"], ["    // name, SOP class UIDs, first module use, uses"]
    first = 0
    for iod in rows("iods.tsv"):
        merged = {}
        for r in used:
            if r["iod"] == iod["code"]:
                merged.setdefault(int(r["module"]), MODULE_USAGE[r["usage"]])
        use_lines.append(f"    // {iod['code']}: {iod['name']}")
        use_lines.append("    " + " ".join(f"{{{number}, {usage}}}," for number, usage in merged.items()))
        iod_lines.append(f"    {{ {text(iod['name'])}, {text(iod['sopClassUids'])}, {first}, {len(merged)} }},")
        first += len(merged)

    body = array("const IodRow kIodTable[]", iod_lines) + [""]
    body += array("const ModuleUseRow kModuleUseTable[]", use_lines) + [""]
    body += array("const ModuleRow kModuleTable[]", module_lines) + [""]
    body += array("const AttributeRow kAttributeTable[]", attribute_lines)
    return table_file("iods.tsv, iod_modules.tsv, modules.tsv and module_attributes.tsv", body)


def description_table():
    used = {r["tag"] for r in rows("module_attributes.tsv")}
    described = rows("descriptions.tsv")
    tags = [d["tag"] for d in described]
    if tags != sorted(set(tags)) or not used.issuperset(tags):
        raise SystemExit("descriptions.tsv: tags must ascend and be those of module attributes")
    lines = ["    // tag, description"] + [f"    {{ 0x{d['tag']}, {text(d['description'])} }}," for d in described]
    return table_file("descriptions.tsv", array("const DescriptionRow kDescriptionTable[]", lines))


def dimse_table():
    commands = {}
    for r in rows("dimse.tsv"):
        commands.setdefault((r["command"], r["commandField"]), []).append(r)
    field_lines, command_lines = ["    // element, name, VR"], ["    // name, command field, first field, fields"]
    count = 0
    for (name, value), fields in commands.items():
        field_lines.append(f"    // {name}")
        field_lines += [f"    {{ 0x{f['element']}, {text(f['name'])}, {vr(f['vr'])} }}," for f in fields]
        command_lines.append(f"    {{ {text(name)}, 0x{value}, {count}, {len(fields)} }},")
        count += len(fields)
    body = array("const DimseCommand kDimseCommandTable[]", command_lines) + [""]
    body += array("const DimseField kDimseFieldTable[]", field_lines)
    return table_file("dimse.tsv", body)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="compare instead of writing")
    check = parser.parse_args().check
    differing = 0
    for name, content in (("element_table.cpp", element_table()), ("uid_table.cpp", uid_table()),
                          ("iod_table.cpp", iod_table()), ("description_table.cpp", description_table()),
                          ("dimse_table.cpp", dimse_table())):
        path = OUTPUT / name
        if not check:
            path.write_text(content, encoding="utf-8")
        elif not path.exists() or path.read_text(encoding="utf-8") != content:
            print(f"{name} is not what the facts give", file=sys.stderr)
            differing = 1
    return differing


if __name__ == "__main__":
    sys.exit(main())
