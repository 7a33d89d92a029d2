"""Models of many scans: the same bits as one scan alone has, as another process gives, and after anything has ended."""

import json
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import pytest

import mth
from mth import cohort

# What workers and connections that were ended leave is collected whenever it is, and is no fault of the test that runs then.
pytestmark = [pytest.mark.filterwarnings(f"ignore::{name}") for name in (
    "ResourceWarning", "pytest.PytestUnraisableExceptionWarning", "pytest.PytestUnhandledThreadExceptionWarning")]

METHODS = {"k-means": cohort.k_means, "fuzzy": cohort.fuzzy_c_means, "tissue": cohort.tissue}


def scan(seed, size=24):
    """Three slabs under a slope of the scan's own."""
    x = np.arange(size)
    slabs = np.where(x < 8, 200.0, np.where(x < 16, 500.0, 800.0))[:, None, None]
    noise = np.random.default_rng(seed).normal(0.0, 40.0, (size, size, size))
    return np.maximum((slabs + noise) * (1.0 + 0.03 * (seed - 2) * (x / size - 0.5))[None, :, None], 0.0)


SCANS = [scan(seed) for seed in range(4)]


def same(found, expected):
    assert np.array_equal(found.centroids, expected.centroids)
    assert (found.n_iter, found.reason, found.change) == (expected.n_iter, expected.reason, expected.change)


def test_one_scan_alone_has_the_engines_bits():
    image = SCANS[3]
    alone = mth.k_means(image[image > 0], 3, init="quantiles")
    found = cohort.k_means([image], 3)
    assert np.array_equal(found.centroids, alone.centroids) and found.n_iter == alone.n_iter and found.converged
    assert np.array_equal(found.apply(image).labels[image > 0], alone.labels + 1)
    many = np.arange(1.0, 601.0)
    assert np.array_equal(cohort.k_means([many], 300).apply(many).labels, mth.k_means(many, 300, init="quantiles").labels + 1)
    for m in (2.0, 1.75):
        alone = mth.fuzzy_c_means(image[image > 0], 3, m, init="quantiles")
        found = cohort.fuzzy_c_means([image], 3, m=m)
        assert np.array_equal(found.centroids, alone.centroids)
        assert (found.n_iter, found.change, found.reason) == (alone.n_iter, alone.change, alone.reason)
        applied = found.apply(image)
        assert np.array_equal(np.stack([f[image > 0] for f in applied.fractions], axis=1), alone.memberships)
    alone = mth.tissue_clustering(image, 3)
    found = cohort.tissue([image])
    assert np.array_equal(found.centroids, alone.centroids)
    assert np.mean(found.apply(image).labels == alone.labels) > 0.99
    # Two images of one place are the features of its voxels.
    pair = (SCANS[0], SCANS[1])
    both = np.stack([SCANS[0], SCANS[1]], axis=-1)[(SCANS[0] > 0) & (SCANS[1] > 0)]
    assert np.array_equal(cohort.k_means([pair], 3).centroids, mth.k_means(both, 3, init="quantiles").centroids)


@pytest.mark.parametrize("method", METHODS)
def test_sums_are_added_in_order_and_twice_the_same_scan_moves_nothing(method):
    fit = METHODS[method]
    assert np.array_equal(fit([SCANS[1]] * 2, 3).centroids, fit([SCANS[1]], 3).centroids)
    whole = fit(SCANS, 3)
    same(fit(SCANS, 3, memory=0), whole)
    assert np.allclose(whole.centroids.ravel(), [200.0, 500.0, 800.0], rtol=0.1)
    start = [[150.0], [450.0], [900.0]]
    if method != "tissue":  # a plain loop over all voxels, for one iteration
        values = np.concatenate([image[image > 0] for image in SCANS])
        same_start = fit(SCANS, 3, init=start, max_iter=2)
        alone = (mth.k_means if method == "k-means" else mth.fuzzy_c_means)(values, 3, init=start, max_iter=2)
        assert np.allclose(same_start.centroids, alone.centroids, rtol=1e-12)


def test_files_are_read_and_what_cannot_be_used_is_named(tmp_path):
    nibabel = pytest.importorskip("nibabel")
    paths = []
    for i, image in enumerate(SCANS):
        paths.append(tmp_path / f"{i}.nii.gz")
        nibabel.save(nibabel.Nifti1Image(image, np.diag([2.0, 2.0, 2.0, 1.0])), paths[-1])
    for fit in METHODS.values():
        size = {"voxel_size": (2.0, 2.0, 2.0)} if fit is cohort.tissue else {}
        same(fit(paths, 3), fit(SCANS, 3, **size))
    bad = [tmp_path / f"bad{i}.nii.gz" for i in range(4)]
    bad[0].write_bytes(b"")
    bad[1].write_bytes(paths[0].read_bytes()[:2000])
    nibabel.save(nibabel.Nifti1Image(np.full((4, 4, 4), np.nan), np.eye(4)), bad[2])
    masks = [None] * 5 + [np.ones((3, 3, 3))]
    images = [bad[0], paths[0], bad[1], paths[1], bad[2], paths[2]]
    for fit in METHODS.values():
        with pytest.raises(cohort.CohortError, match="bad1") as failure:
            fit([*images, bad[3]], 3, masks=[*masks, None])
        assert [Path(name).name for name, _ in failure.value.failures] == [
            "bad0.nii.gz", "bad1.nii.gz", "bad2.nii.gz", "2.nii.gz", "bad3.nii.gz"]
        model = fit(images, 3, masks=masks, on_error="skip")
        assert [Path(entry["image"]).name for entry in model.failed] == [
            "bad0.nii.gz", "bad1.nii.gz", "bad2.nii.gz", "2.nii.gz"]
        same(model, fit(paths[:2], 3))


def test_models_keep_their_bits_in_files(tmp_path):
    path = tmp_path / "group.json"
    for fit in METHODS.values():
        model = fit(SCANS, 3)
        model.save(path)
        again = cohort.load(path)
        same(again, model)
        assert (again.method, again.parameters, again.scans) == (model.method, model.parameters, model.scans)
        assert np.array_equal(again.apply(SCANS[0]).labels, model.apply(SCANS[0]).labels)
    assert [name.name for name in tmp_path.iterdir()] == ["group.json"]
    whole = json.loads(path.read_text())
    broken = ["", "[]", "{", json.dumps({**whole, "format": "other"}), json.dumps({**whole, "version": 2}),
              json.dumps({**whole, "centroids": [[1.0], [2.0, 3.0]]}), json.dumps({**whole, "centroids": []}),
              json.dumps({**whole, "centroids": [[None]]}), json.dumps({**whole, "method": "none"}),
              json.dumps({key: value for key, value in whole.items() if key != "parameters"})]
    for text in broken:
        path.write_text(text)
        with pytest.raises(ValueError, match="model"):
            cohort.load(path)


@pytest.mark.parametrize("arguments, options, text", [
    (([], 3), {}, "no images"), ((SCANS, 0), {}, "0"), ((SCANS, 3), {"masks": [None]}, "1 masks"),
    ((SCANS, 3), {"on_error": "go"}, "go"), ((SCANS, 2), {"init": [[1.0], [np.nan]]}, "init"),
    (([np.arange(9.0)], 2 ** 31 - 1), {}, "8 voxels, fewer"), ((SCANS, 2 ** 31 - 1), {"init": [1.0, 2.0]}, "init"),
    ((SCANS, 2), {"init": "farthest"}, "farthest"), ((SCANS, 2), {"max_iter": 0}, "max_iter"),
    (([SCANS[0], (SCANS[0], SCANS[1])], 2), {}, "number of images")])
def test_refuses_what_it_cannot_use(arguments, options, text):
    with pytest.raises((ValueError, cohort.CohortError), match=text):
        cohort.k_means(*arguments, **options)
    with pytest.raises((TypeError, ValueError)):
        cohort.tissue(SCANS[0])
    with pytest.raises(cohort.CohortError, match="tissues are of one"):
        cohort.tissue([(SCANS[0], SCANS[1])])


class Deadly:
    """An image whose first reader is killed."""

    def __init__(self, mark, image):
        self.mark, self.image = mark, image

    def __array__(self, *_args, **_options):
        try:
            os.close(os.open(self.mark, os.O_CREAT | os.O_EXCL))
        except FileExistsError:
            return self.image
        os.kill(os.getpid(), signal.SIGKILL)


class Cluster:
    """A scheduler and workers as processes of their own, on ports of the system's choice."""

    def __init__(self, folder):
        self.folder, self.file, self.scheduler, self.workers = folder, folder / "scheduler.json", None, []

    def run(self, name, *options):
        return subprocess.Popen([sys.executable, "-m", f"distributed.cli.dask_{name}", "--scheduler-file", self.file, *options],
                                cwd=self.folder, env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)),
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start(self):
        self.scheduler = self.run("scheduler", "--port", "0", "--dashboard-address", ":0")
        while not self.is_written():
            assert self.scheduler.poll() is None
            time.sleep(0.01)
        self.fill()

    def is_written(self):
        """Whether the scheduler has told where it is, and all of it."""
        try:
            return bool(json.loads(self.file.read_text()))
        except (OSError, ValueError):
            return False

    def fill(self):
        """Starts what is missing of three workers."""
        for _ in range(3 - sum(worker.poll() is None for worker in self.workers)):
            self.workers.append(self.run("worker", "--nthreads", "1", "--no-nanny", "--no-dashboard", "--death-timeout", "1000",
                                         "--local-directory", self.folder))

    def end_worker(self):
        """The oldest one that lives; another takes its place."""
        worker = next(worker for worker in self.workers if worker.poll() is None)
        worker.kill()
        worker.wait()
        self.fill()

    def end(self):
        for process in [self.scheduler, *self.workers]:
            process.kill()
            process.wait()
        self.workers.clear()
        self.file.unlink()


@pytest.fixture(scope="module")
def cluster(tmp_path_factory):
    pytest.importorskip("distributed")
    cluster = Cluster(tmp_path_factory.mktemp("cluster"))
    try:
        cluster.start()
        yield cluster
    finally:
        cluster.end()


@pytest.mark.filterwarnings("default")
@pytest.mark.parametrize("method", METHODS)
def test_workers_give_the_same_bits_also_when_one_ends_in_any_phase(method, cluster, tmp_path):
    fit = METHODS[method]
    whole = fit(SCANS, 3)
    ends = {"k-means": [1], "fuzzy": [1, 3], "tissue": [5, 95]}[method]

    def end_a_worker(step, _most):
        if ends and step == ends[0]:
            ends.pop(0)
            cluster.end_worker()

    cluster.fill()
    scans = [SCANS[0], Deadly(tmp_path / "mark", SCANS[1]), *SCANS[2:]]
    same(fit(scans, 3, str(cluster.file), progress=end_a_worker), whole)
    assert (tmp_path / "mark").exists() and not ends


@pytest.mark.filterwarnings("default")
def test_a_scheduler_that_ends_is_waited_for(cluster, tmp_path, monkeypatch):
    monkeypatch.setattr("mth._scans._PATIENCE_SECONDS", 2400.0)  # however long a busy machine takes to start one

    def start_again(step, _most):
        if step == 2:
            cluster.end()
            cluster.start()

    same(cohort.fuzzy_c_means(SCANS, 3, cluster.file, progress=start_again), cohort.fuzzy_c_means(SCANS, 3))
    distributed = pytest.importorskip("distributed")
    with distributed.Client(scheduler_file=str(cluster.file), timeout=2400) as client:
        same(cohort.k_means(SCANS, 3, client), cohort.k_means(SCANS, 3))
        same(cohort.k_means(SCANS, 3, client.scheduler.address), cohort.k_means(SCANS, 3))
    with pytest.raises(FileNotFoundError, match="scheduler file"):
        cohort.k_means(SCANS, 3, tmp_path / "none")


def test_segment_mr_applies_a_model_with_the_same_bits(tmp_path):
    nibabel = pytest.importorskip("nibabel")
    host = Path(os.environ.get("MTH_BINARY_DIR", "."), "examples", "segment_mr", "segment_mr")
    if not host.is_file():
        pytest.skip("segment_mr is not built")
    image, path = tmp_path / "image.nii.gz", tmp_path / "group.json"
    nibabel.save(nibabel.Nifti1Image(SCANS[0], np.eye(4)), image)

    def segment(*options):
        return subprocess.run([host, image, "--no-denoise", "--model", path, "-o", tmp_path / "out", "--force", *options],
                              capture_output=True, text=True, check=False)

    for fit in METHODS.values():
        model = fit(SCANS, 3)
        model.save(path)
        done = segment()
        assert done.returncode == 0, done.stderr
        expected = model.apply(image)
        assert np.array_equal(np.asanyarray(nibabel.load(tmp_path / "out" / "labels.nii.gz").dataobj), expected.labels)
        for k, fraction in enumerate(expected.fractions):
            found = np.asanyarray(nibabel.load(tmp_path / "out" / f"membership_{k + 1}.nii.gz").dataobj)
            assert np.array_equal(found, fraction.astype(np.float32))
    whole = json.loads(path.read_text())
    refused = segment("--clusters", "3")
    assert refused.returncode == 2 and "--clusters" in refused.stderr
    for text in ("", "[" * 100000, json.dumps({**whole, "version": 2}), json.dumps({**whole, "centroids": [[1, 2], [3, 4]]}),
                 json.dumps({**whole, "centroids": [[3.0]]}), json.dumps({**whole, "centroids": [[3.0], [1.0]]}),
                 json.dumps({**whole, "parameters": {}}), json.dumps({**whole, "method": "none"})):
        path.write_text(text)
        refused = segment()
        assert refused.returncode == 2 and "group.json" in refused.stderr, refused
