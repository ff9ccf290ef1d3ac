#!/usr/bin/env bash
# Compares the figures of nivra eval with those that another evaluator gave for the same tracks: every count equal, every
# fraction within 1e-9. FOLDER holds mot/<sequence>/gt/gt.txt, eval/<tracker>/<sequence>.txt and eval/expected.json
# with expected[tracker][preprocessed or plain][sequence or COMBINED][group][figure].
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 FOLDER [TOOL]" >&2; exit 2; }
cd "$(dirname "$0")/.."
folder=$1 tool=${2:-build/release/tools/nivra/nivra}

/usr/bin/python3 - "$folder" "$tool" <<'PYTHON'
import json
import subprocess
import sys

folder, tool = sys.argv[1:]
expected = json.load(open(f"{folder}/eval/expected.json"))
compared = different = 0


def compare(place, wanted, found):
    """Lists element by element; what is whole has to be equal."""
    global compared, different
    if isinstance(wanted, list):
        assert len(wanted) == len(found), place
        for i, pair in enumerate(zip(wanted, found)):
            compare((*place, i), *pair)
        return
    compared += 1
    if wanted != found if isinstance(found, int) else abs(wanted - found) > 1e-9:
        different += 1
        print(*place, "expected", wanted, "found", found)


for mode, options in {"preprocessed": ["--preprocess", "mot17"], "plain": ["--preprocess", "none"]}.items():
    trackers = [f"--tracker={name}={folder}/eval/{name}" for name in expected]
    report = subprocess.run([tool, "eval", f"{folder}/mot", *trackers, "--json", *options], check=True, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    found = {(row["tracker"], row.get("sequence", "COMBINED")): row for row in json.loads(report)["results"]}
    wanted = {(name, sequence): groups for name in expected for sequence, groups in expected[name][mode].items()}
    assert found.keys() == wanted.keys(), found.keys() ^ wanted.keys()
    for key, groups in wanted.items():
        for group, figures in groups.items():
            for figure, value in figures.items():
                row = found[key][group]
                compare((mode, *key, figure), value, (row["thresholds"] if isinstance(value, list) else row)[figure])
print(f"{compared} figures compared, {different} different")
sys.exit(different > 0)
PYTHON
