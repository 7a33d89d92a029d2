"""What users of Python expect beside numbers: progress, Ctrl-C, threads, forks, documentation."""

import doctest
import importlib
import os
import pathlib
import pkgutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import mth

SAMPLES = np.random.default_rng(2).normal(size=(500, 2))
MODULES = ["mth"] + [f"mth.{module.name}" for module in pkgutil.iter_modules(mth.__path__) if module.name[0] != "_"]

# A run that ends for nothing but the signal that another thread sends once it is on its way.
INTERRUPTED = """
import os, signal, threading
import numpy as np, mth
signal.signal(signal.SIGINT, signal.default_int_handler)  # what a script runs in its background ignores it
x = np.random.default_rng(0).normal(size=(3000, 3))
started = threading.Event()
def on_its_way(*arguments):
    started.set()
def interrupt():
    started.wait()
    os.kill(os.getpid(), signal.SIGINT)
thread = threading.Thread(target=interrupt)
try:
    thread.start()
    {run}
except KeyboardInterrupt:
    print("interrupted", mth.k_means(x, 3).labels.shape)  # nothing is broken
finally:
    started.set()
"""


def run_python(code):
    return subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True, timeout=2400).stdout


@pytest.mark.parametrize("run", [
    "mth.fuzzy_c_means(x, 4, tol=-1.0, max_iter=10**9, progress=on_its_way)",  # no change is below a negative tolerance
    "mth.minimise(lambda p: p[0] % 1.0, [0.3], callback=lambda p: on_its_way() or [mth.k_means(x, 3) for _ in range(10**9)])",
    "while mth.denoise(np.resize(np.abs(x.astype(np.float32)), (200, 200, 200)), noise=0.5, progress=on_its_way).size: pass",
], ids=["clustering", "callback", "denoising"])
def test_an_interrupt_ends_a_run(run):
    assert run_python(INTERRUPTED.format(run=run)) == "interrupted (3000,)\n"


# Ctrl-C counts only while the library computes: a run that ended before it came is started again.
LEFT_BEHIND = """
import os, signal, sys, threading, time
import numpy as np, mth
x = np.random.default_rng(0).normal(size={shape})
kept, threads, came = sys.getrefcount(x), len(os.listdir("/proc/self/task")), threading.Event()
def handle(*arguments):
    if not came.is_set() and len(os.listdir("/proc/self/task")) > threads + 1:
        came.set()
        raise KeyboardInterrupt
def interrupt():
    while not came.is_set():
        os.kill(os.getpid(), signal.SIGINT)
        time.sleep(0.001)
signal.signal(signal.SIGINT, handle)
threading.Thread(target=interrupt, daemon=True).start()
try:
    for _ in range(1000):
        {run}
except KeyboardInterrupt:
    print("interrupted")
while sys.getrefcount(x) > kept:  # what was left behind ends, and lets the array go
    time.sleep(0.001)
"""


@pytest.mark.skipif(not os.path.isdir("/proc/self/task"), reason="threads cannot be counted")
@pytest.mark.parametrize("shape, run", [
    ((250, 250), "mth.linalg.qz(x, x)"), (2 ** 20, "mth.sort(x)"), (2 ** 20, "mth.fft(x)"), ((1000, 1000), "mth.redundant_wavelet(x)"),
    ((20000, 30), "mth.k_means(x, 8, progress=lambda done, total: mth.sort(x[:, 0]))"), ((10 ** 5, 3), "mth.register_landmarks(x, x, robust=True)"),
    ((10 ** 4, 2), "mth.evidential_c_means(x, 5).fuse(mth.evidential_c_means(x, 5))"),
], ids=lambda value: value[4:value.index("(")] if isinstance(value, str) else None)
def test_an_interrupt_waits_for_nothing(shape, run):
    assert run_python(LEFT_BEHIND.format(shape=shape, run=run)) == "interrupted\n"


@pytest.mark.skipif(not hasattr(os, "fork"), reason="there is no fork")
def test_long_calls_in_odd_company():
    class Unknown:  # an array whose lengths are not known yet
        shape = (float("nan"),)

        def __array__(self, dtype=None, copy=None):
            return SAMPLES[:, 0]

    assert mth.stats.mean(Unknown()) == mth.stats.mean(SAMPLES[:, 0])
    samples = mth._mth.TissueScan(SAMPLES, 2, None, None, [1.0, 1.0, 1.0], True, True, 25.0)
    with pytest.raises(TypeError):
        samples.step(None)
    code = """
import os, sys
import numpy as np, mth
try:
    import _xxsubinterpreters
    _xxsubinterpreters.create()
except ImportError:
    pass
def fork(done, total):
    if done == 1 and os.fork() == 0:
        sys.exit(7)
print(mth.k_means(np.random.default_rng(0).normal(size=(3000, 3)), 3, progress=fork).labels.shape, os.wait()[1] >> 8)
"""
    assert run_python(code) == "(3000,) 7\n"


def test_progress_in_all_its_forms(capsys):
    steps = []
    found = mth.fuzzy_c_means(SAMPLES, 3, progress=lambda done, total: steps.append((done, total)))
    assert steps == [(i + 1, 100) for i in range(found.n_iter)]
    mth.k_means(SAMPLES, 3, progress=True)
    assert "k-means: " in capsys.readouterr().err
    tqdm = pytest.importorskip("tqdm").tqdm
    mth.k_means(SAMPLES, 3, progress=tqdm)
    with tqdm() as bar:
        n_iter = mth.evidential_c_means(SAMPLES, 3, progress=bar).n_iter
        assert (bar.n, bar.total) == (n_iter, 100)
    steps.clear()
    mth.minimise(lambda p: p[0] ** 2, [3.0], progress=lambda done, total: steps.append(done))
    mth.AdaBoost(rounds=3, progress=lambda done, total: steps.append(total)).fit(SAMPLES, SAMPLES[:, 0] > 0)
    mth.denoise(np.ones((9, 9)), noise=1.0, progress=lambda done, total: steps.append(total))
    assert steps[0] == 1 and 3 in steps


def test_an_exception_of_a_callback_arrives():
    class Mine(Exception):
        pass

    def fail(done, total):
        raise Mine("no")

    for call in (lambda: mth.k_means(SAMPLES, 3, progress=fail), lambda: mth.evidential_c_means(SAMPLES, 3, progress=fail),
                 lambda: mth.AdaBoost(progress=fail).fit(SAMPLES, SAMPLES[:, 0] > 0),
                 lambda: mth.denoise(np.ones((64, 64)), noise=1.0, progress=fail)):
        references = sys.getrefcount(fail)
        with pytest.raises(Mine):
            call()
        assert sys.getrefcount(fail) == references


def test_threads_compute_at_the_same_time():
    def work(seed):
        x = np.random.default_rng(seed).normal(size=(2000, 3))
        fuzzy = mth.fuzzy_c_means(x, 4, seed=seed, progress=lambda done, total: None)
        best = mth.minimise(lambda p: (p[0] - seed) ** 2, [0.0])
        with pytest.raises(ValueError, match="NaN"):
            mth.k_means(x * np.nan, 2)
        return fuzzy.memberships.tobytes() + best.x.tobytes() + mth.linalg.svd(x[:50]).s.tobytes()

    expected = [work(seed) for seed in range(8)]
    with ThreadPoolExecutor(4) as pool:
        assert list(pool.map(work, range(8))) == expected


def test_threads_draw_from_one_stream():
    stream = mth.random.Uniform(2, seed=5)
    expected = np.sort(stream.draw(40000))
    stream = mth.random.Uniform(2, seed=5)
    with ThreadPoolExecutor(4) as pool:
        drawn = list(pool.map(lambda _: stream.draw(10), range(4000)))
    np.testing.assert_array_equal(np.sort(np.concatenate(drawn)), expected)


def test_threads_share_evidence():
    evidence = mth.evidential_c_means(SAMPLES, 4)
    with ThreadPoolExecutor(4) as pool:
        answers = list(pool.map(lambda _: evidence.plausibility().tobytes(), range(8)))
    assert len(set(answers)) == 1


@pytest.mark.skipif(not hasattr(os, "fork"), reason="there is no fork")
def test_a_fork_in_the_middle():
    code = """
import os, threading
import numpy as np, mth
x = np.random.default_rng(0).normal(size=(3000, 3))
started = threading.Event()
stop = []
def work():
    mth.fuzzy_c_means(x, 4, tol=-1.0, max_iter=10**9, progress=lambda done, total: started.set() or stop and 1 / 0)
def run():
    try:
        work()
    except ZeroDivisionError:
        pass
    finally:
        started.set()
thread = threading.Thread(target=run)
thread.start()
started.wait()
child = os.fork()
if child == 0:
    same = mth.k_means(x, 3).labels.tobytes() == mth.k_means(x, 3).labels.tobytes()
    mth.random.Uniform(seed=7).draw(5)
    os._exit(0 if same else 1)
status = os.waitpid(child, 0)[1]
stop.append(True)
thread.join()
print(os.waitstatus_to_exitcode(status))
"""
    assert run_python(code) == "0\n"


def test_the_interpreter_ends_while_threads_compute():
    code = """
import threading
import numpy as np, mth
x = np.random.default_rng(0).normal(size=(3000, 3))
started = [threading.Event() for _ in range(3)]
runs = [lambda: mth.fuzzy_c_means(x, 4, tol=-1.0, max_iter=10**9, progress=lambda done, total: started[0].set()),
        lambda: mth.minimise(lambda p: started[1].set() or p[0] % 1.0, [0.3], callback=lambda p: [mth.k_means(x, 3) for _ in range(10**9)]),
        lambda: [started[2].set() or mth.linalg.inv(np.eye(3)) for _ in range(10**9)]]
for run in runs:
    threading.Thread(target=run, daemon=True).start()
for event in started:
    event.wait()
print("end")
"""
    assert run_python(code) == "end\n"


@pytest.mark.parametrize("name", MODULES)
def test_examples_in_the_documentation(name):
    module = importlib.import_module(name)
    assert doctest.testmod(module).failed == 0
    for public in getattr(module, "__all__", []):
        item = getattr(module, public)
        if callable(item) and not isinstance(item, type):
            assert ">>>" in item.__doc__, public


def test_types(tmp_path):
    pytest.importorskip("mypy")
    (tmp_path / "of_pybind11").write_text(
        r"mth\._mth\.(Boosting|Curve|Evidence|Samples|TissueMeans|TissueScan)(\.__(init|getstate|setstate)__)?")
    package = str(pathlib.Path(mth.linalg.__file__).resolve().parent)
    for command in (["mypy", "--config-file", os.path.join(os.path.dirname(__file__), "../../pyproject.toml"), "--no-incremental", "--cache-dir", os.devnull, package],
                    ["mypy.stubtest", "--allowlist", str(tmp_path / "of_pybind11"), "mth._mth"]):
        environment = dict(os.environ, MYPYPATH=os.path.dirname(package) if command[0] == "mypy" else "")
        done = subprocess.run([sys.executable, "-m", *command], capture_output=True, text=True, env=environment)
        assert done.returncode == 0, done.stdout + done.stderr


def test_the_guide_names_everything():
    names = [name for name in mth.__all__ if callable(getattr(mth, name)) and not isinstance(getattr(mth, name), type)]
    assert [name for name in names if f"`{name}`" not in mth.__doc__ and name not in ("ifft", "ifft2",
                                                                                     "inverse_redundant_wavelet")] == []


def test_the_module_loads_nothing_but_numpy():
    assert run_python("import mth, sys; print('sklearn' in sys.modules, 'scipy' in sys.modules)") == "False False\n"
