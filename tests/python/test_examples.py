"""The example programs give what the command-line hosts give on the same data, but for what a host may do beside them."""

import os
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

nibabel = pytest.importorskip("nibabel")
pytest.importorskip("matplotlib")

ROOT = pathlib.Path(__file__).resolve().parents[2]
BRAIN = ROOT / "data" / "t1_brain_axial.nii.gz"
HOSTS = pathlib.Path(os.environ["MTH_BINARY_DIR"], "examples")
FIRST = "A,0,0,0\nB,100,0,0\nC,0,50,0\nD,0,0,80\nE,30,20,10\n"
SECOND = "E,14,33,22\nA,3,4,12\nB,3.5,104,11\nC,-47,5,12.5\nD,3,4,92\n"


def run(program, *arguments):
    return subprocess.run([str(argument) for argument in (*program, *arguments)], check=True, capture_output=True,
                          text=True).stdout


def run_example(name, *arguments):
    return run((sys.executable, ROOT / "python" / "examples" / name), *arguments)


def run_host(name, *arguments):
    program = HOSTS / name / name
    if not program.exists():
        pytest.skip(f"{name} is not built")
    return run((program,), *arguments)


def test_the_figures_of_the_manual(tmp_path):
    run_example("draw_figures.py", "--output", tmp_path / "new")
    drawn = list((tmp_path / "new").iterdir())
    pages = "".join(page.read_text(encoding="utf-8") for page in (ROOT / "docs").rglob("*.md"))
    assert len(drawn) == 7 and all(f"images/{figure.name})" in pages and (ROOT / "docs" / "images" / figure.name).exists()
                                   and figure.stat().st_size > 5000 for figure in drawn)


def read(path):
    return np.asarray(nibabel.load(path).dataobj)


def test_the_code_of_the_pages(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    image = read(BRAIN)
    pages = [ROOT / "python" / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]
    blocks = [block for page in pages for block in re.findall(r"```python\n(.*?)```", page.read_text(encoding="utf-8"), re.DOTALL)]
    assert len(blocks) >= 2
    for block in blocks:
        exec(block, {"image": image, "mask": image > 0, "paths": [BRAIN, BRAIN], "masks": [image > 0, image > 0]})
    assert (tmp_path / "group.json").stat().st_size > 100


def test_segment_brain(tmp_path):
    text = run_example("segment_brain.py", BRAIN, "--output", tmp_path)
    with pytest.raises(subprocess.CalledProcessError) as refused:
        run_example("denoise_brain.py", BRAIN, "--output", tmp_path)
    assert "holds something already" in refused.value.stderr
    assert text.count("tissue") == 3 and (tmp_path / "figure.png").stat().st_size > 10000
    labels = read(tmp_path / "labels.nii.gz")
    assert set(np.unique(labels)) == {0, 1, 2, 3}
    run_host("segment_mr", BRAIN, "--method", "tissue", "--clusters", 3, "--output", tmp_path / "host")
    assert np.mean(labels == read(tmp_path / "host" / "labels.nii.gz")) > 0.99
    for number in (1, 2, 3):
        name = f"membership_{number}.nii.gz"
        assert np.abs(read(tmp_path / name) - read(tmp_path / "host" / name)).mean() < 0.01


def test_denoise_brain(tmp_path):
    assert "standard deviation" in run_example("denoise_brain.py", BRAIN, "--output", tmp_path)
    assert (tmp_path / "figure.png").stat().st_size > 10000
    clean = read(tmp_path / "denoised.nii.gz")
    assert clean.dtype == read(BRAIN).dtype and (clean != read(BRAIN)).any()
    run_host("denoise_mr", BRAIN, "--output", tmp_path / "host")
    assert np.abs(clean.astype(float) - read(tmp_path / "host" / "denoised.nii.gz")).mean() < 0.5


@pytest.mark.parametrize("method", ["quaternion", "robust"])
def test_landmarks(tmp_path, method):
    for name, text in (("first.csv", FIRST), ("second.csv", SECOND)):
        (tmp_path / name).write_text(text, encoding="utf-8")
    files = tmp_path / "first.csv", tmp_path / "second.csv"
    text = run_example("landmarks.py", *files, "--output", tmp_path, "--force", *["--robust"] * (method == "robust"))
    assert text.startswith("5 landmarks") and (tmp_path / "figure.png").stat().st_size > 1000
    run_host("register_landmarks", *files, "--method", method, "--output", tmp_path / "host")
    expected = np.loadtxt(tmp_path / "host" / "matrix.txt")
    np.testing.assert_allclose(np.loadtxt(tmp_path / "matrix.txt"), expected, atol=1e-9)
