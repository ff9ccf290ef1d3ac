"""What documents and types promise."""

import contextlib
import dataclasses
import doctest
import importlib
import io
import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import nivra

ROOT = Path(__file__).parents[2]
PACKAGE = Path(nivra.__file__).parent


@pytest.mark.parametrize("name", ["", "._evaluation", "._explaining", "._files", "._parameters", "._replaying", "._tracker", "._tracks", "._tuning"])
def test_docstrings(name):
    result = doctest.testmod(importlib.import_module(f"nivra{name}"))
    assert result.attempted > 0 and result.failed == 0


def test_every_public_name_is_described():
    for name in nivra.__all__:
        thing = getattr(nivra, name)
        if name in ("__version__", "set_fault_handler", "CameraMotion", "CameraEnd", "Frame", "FileError"):
            continue  # written in C++, described in the stub
        members = [each for key, each in vars(thing).items() if not key.startswith("_")] if isinstance(thing, type) else []
        assert all(each.__doc__ for each in [thing, *members] if callable(each) or isinstance(each, property)), name


@dataclasses.dataclass
class Detections:
    """What Python frameworks hand around."""

    xyxy: np.ndarray
    confidence: np.ndarray
    class_id: np.ndarray
    tracker_id: object = None

    def __getitem__(self, rows):
        return Detections(self.xyxy[rows], self.confidence[rows], self.class_id[rows])


class Tensor:
    """An array that is elsewhere until it is asked for."""

    def __init__(self, values):
        self.values = np.asarray(values)

    def cpu(self):
        return self

    def numpy(self):
        return self.values


@dataclasses.dataclass
class Tensors:
    xyxy: Tensor
    conf: Tensor
    cls: Tensor


def test_the_tutorial_runs(tmp_path, monkeypatch):
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    monkeypatch.chdir(tmp_path)
    box, ones = np.array([[600.0, 300, 680, 520]]), np.ones(1, np.float32)
    page = {
        "detections": [(box, ones)] * 3,
        "camera": [(None, step * 40_000_000) for step in range(50)],
        "detector": lambda frame: (box, 0.9 * ones, np.ones((1, 256), np.float32)),
    }
    blocks = [
        block
        for name in ("README.md", "docs/python.md")
        for block in re.findall(r"^```python\n(.*?)^```", (ROOT / name).read_text(), re.M | re.S)
    ]
    assert len(blocks) > 6
    said = io.StringIO()
    with contextlib.redirect_stdout(said):
        for block in blocks:
            exec(compile(block, "a document", "exec"), page)
    assert "0.9" in said.getvalue()
    assert {"tracks.txt", "plaza.csv", "plaza.html"} <= set(os.listdir())

    makers = {
        "with_identities": Detections(box, ones, np.zeros(1, int)),
        "from_tensors": Tensors(Tensor(box), Tensor(ones), Tensor(np.zeros(1, np.float32))),
        "from_dictionary": {"boxes": box.tolist(), "scores": [1.0], "labels": [0]},
    }
    for name, detections in makers.items():
        tracker = nivra.Tracker(picture=(1280, 720), fps=25)
        for _ in range(60):
            result = page[name](tracker, detections)
        ids = result.tracker_id if name == "with_identities" else result.id
        assert ids.tolist() == [0], name


def test_types(tmp_path):
    pytest.importorskip("mypy")
    cache = os.environ.get("NIVRA_MYPY_CACHE", str(tmp_path))
    # pybind11's classes have a class of their own, and those that nobody makes take any arguments.
    (tmp_path / "allowed").write_text(r"nivra\._core\.[A-Z]\w+" "\n" r"nivra\._core\.(Frame|Input|Recording)\.__init__" "\n")
    is_installed = PACKAGE.parent.name in ("site-packages", "dist-packages")  # which mypy finds by itself
    checks = [
        ({} if is_installed else {"MYPYPATH": str(PACKAGE.parent)}, ["mypy", "--strict", "--cache-dir", cache, "-p", "nivra"]),
        ({"PYTHONPATH": str(PACKAGE.parent)}, ["mypy.stubtest", "nivra._core", "--allowlist", str(tmp_path / "allowed")]),
    ]
    plain = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    for own, check in checks:
        done = subprocess.run(
            [sys.executable, "-m", *check], env={**plain, **own}, capture_output=True, text=True, cwd=tmp_path
        )
        assert done.returncode == 0, done.stdout + done.stderr


def test_numpy_that_the_package_would_misread_is_refused():
    built_with = os.environ.get("NIVRA_PYBIND11", "")
    if not built_with or tuple(map(int, built_with.split(".")[:2])) >= (2, 12):
        pytest.skip("not known to be built with a pybind11 that is older than numpy 2")
    script = "import numpy; numpy.__version__ = '2.0.0'; import nivra"
    done = subprocess.run([sys.executable, "-B", "-c", script], capture_output=True, text=True)
    assert done.returncode == 1 and "ImportError: numpy 2.0.0 needs a nivra that is built with pybind11 2.12" in done.stderr
