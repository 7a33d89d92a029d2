"""The hosts' DICOM objects in an archive: run by scripts/test_archive.sh.

    dicom_archive.py FOLDER_OF_THE_BUILD FOLDER_OF_THE_DATA
"""

import glob
import io
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

import pydicom
from dicom_series import volume, write_series

BUILD, DATA = sys.argv[1:3]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Archive:
    """Orthanc on ports of its own, with its storage in `folder`; nothing from outside this machine reaches it."""

    def __init__(self, folder):
        self.dicom, self.http = free_port(), free_port()
        settings = {"Name": "test", "StorageDirectory": os.path.join(folder, "db"), "IndexDirectory": os.path.join(folder, "db"),
                    "HttpPort": self.http, "DicomPort": self.dicom, "RemoteAccessAllowed": False,
                    "AuthenticationEnabled": False, "DicomAlwaysAllowStore": True, "Plugins": []}
        path = os.path.join(folder, "orthanc.json")
        with open(path, "w", encoding="utf-8") as file:
            json.dump(settings, file)
        program = shutil.which("Orthanc", path=os.environ["PATH"] + ":/usr/sbin")
        self.log = open(os.path.join(folder, "log"), "w", encoding="utf-8")
        self.process = subprocess.Popen([program, path], stdout=self.log, stderr=self.log)

    def get(self, place):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.http}{place}", timeout=30) as answer:
            return answer.read()

    def wait(self):
        for _ in range(600):
            if self.process.poll() is not None:
                raise RuntimeError("the archive ended")
            try:
                return self.get("/system")
            except OSError:
                time.sleep(0.1)
        raise RuntimeError("the archive does not answer")

    def stop(self):
        self.process.terminate()
        self.process.wait(60)
        self.log.close()


def data_set(file):
    """The elements of a file without its header, which says who sent it."""
    return {element.tag: element for element in pydicom.dcmread(file)}


def make_objects(folder):
    series = os.path.join(folder, "series")
    write_series(series, "oblique", volume(DATA, 7))
    for host in ("segment_mr", "denoise_mr", "texture_mr"):
        subprocess.run([os.path.join(BUILD, "examples", host, host), series, "-o", os.path.join(folder, "result", host),
                        "--dicom-output", os.path.join(folder, host)], check=True, stdout=subprocess.DEVNULL)
    return sorted(glob.glob(os.path.join(folder, "*", "*.dcm")))


def check(archive, files):
    sent = {str(pydicom.dcmread(file, stop_before_pixels=True).SOPInstanceUID): file for file in files}
    subprocess.run(["storescu", "-R", "127.0.0.1", str(archive.dicom), *files], check=True)
    studies = json.loads(archive.get("/studies"))
    assert len(studies) == 1, studies
    found = json.loads(archive.get(f"/studies/{studies[0]}/instances"))
    assert {item["MainDicomTags"]["SOPInstanceUID"] for item in found} == set(sent)
    for item in found:
        fetched = archive.get(f"/instances/{item['ID']}/file")
        original = sent[item["MainDicomTags"]["SOPInstanceUID"]]
        assert data_set(io.BytesIO(fetched)) == data_set(original), original
    modalities = sorted({json.loads(archive.get(f"/series/{item['ParentSeries']}"))["MainDicomTags"]["Modality"]
                         for item in found})
    print(f"{len(found)} objects ({', '.join(modalities)}) of one study sent, found and fetched unchanged")


with tempfile.TemporaryDirectory() as scratch:
    made = make_objects(scratch)
    server = Archive(scratch)
    try:
        server.wait()
        check(server, made)
    finally:
        server.stop()
