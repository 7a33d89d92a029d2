"""DICOM series for the tests, made of a slice of data/ by pydicom, and NIfTI files read without a library."""

import gzip
import math
import os
import struct

import numpy
import pydicom
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian

MR = "1.2.840.10008.5.1.4.1.1.4"
ROOT = "1.2.826.0.1.3680043.8.498."
PATIENT = "Doe^Jane"


def read_nifti(path):
    """Voxels by x, y and z, with their scaling, and the affine of a NIfTI-1 file of this machine's order."""
    opened = gzip.open if path.endswith(".gz") else open
    with opened(path, "rb") as file:
        content = file.read()
    size = struct.unpack("<3h", content[42:48])
    kind, = struct.unpack("<h", content[70:72])
    dtype = {2: "u1", 4: "<i2", 8: "<i4", 16: "<f4", 64: "<f8", 256: "i1", 512: "<u2"}[kind]
    start, slope, intercept = struct.unpack("<3f", content[108:120])
    voxels = numpy.frombuffer(content, dtype, math.prod(size), int(start)).reshape(size, order="F")
    affine = numpy.array(struct.unpack("<12f", content[280:328])).reshape(3, 4)
    return voxels * (slope if slope != 0.0 else 1.0) + (intercept if slope != 0.0 else 0.0), affine


def volume(data, count):
    """Slices that all differ: the one of data/, darker and shifted from one to the next."""
    with gzip.open(os.path.join(data, "t1_head_axial.nii.gz"), "rb") as file:
        plane = numpy.frombuffer(file.read(), "u1", 181 * 217, 352).reshape(217, 181)[::2, ::2]
    return [(numpy.roll(plane, k, axis=1).astype("u2") * 8 * (count + k)) // (2 * count) for k in range(count)]


ROTATED = math.radians(20)
TILT = math.radians(10)
ORIENTATIONS = {  # along a row, along a column, from slice to slice in steps of a spacing; None: the normal
    "axial": ([1, 0, 0], [0, 1, 0], None),
    "coronal": ([1, 0, 0], [0, 0, -1], None),
    "sagittal": ([0, 1, 0], [0, 0, -1], None),
    "oblique": ([math.cos(ROTATED), math.sin(ROTATED), 0],
                [-math.sin(ROTATED) * 0.8, math.cos(ROTATED) * 0.8, -0.6], None),
    "double_oblique": ([0.96, 0, 0.28], [-0.168, 0.8, 0.576], None),
    "feet_first": ([-1, 0, 0], [0, 1, 0], None),
    "reversed": ([1, 0, 0], [0, 1, 0], [0, 0, -1]),
    "gantry": ([1, 0, 0], [0, 1, 0], [0, math.tan(TILT), 1]),
    "tilted": ([1, 0, 0], [0, math.cos(TILT), math.sin(TILT)], [0, 0, 1]),  # with its rows, as in a CT scanner
}
TILTED = ("gantry", "tilted")


def digits(numbers):
    return [f"{number:.10f}"[:16] for number in numbers]


def write_series(folder, orientation, planes, spacing=(0.9, 1.1), gap=2.5, number=3, echo=1, changes=None):
    """Writes the planes in an order of names that is not that of their places; returns the data sets."""
    row, column, step = ORIENTATIONS[orientation]
    row, column = numpy.array(row, float), numpy.array(column, float)
    step = numpy.cross(row, column) if step is None else numpy.array(step, float)
    os.makedirs(folder, exist_ok=True)
    written = []
    for k, plane in enumerate(planes):
        meta = FileMetaDataset()
        meta.MediaStorageSOPClassUID = MR
        meta.MediaStorageSOPInstanceUID = f"{ROOT}{number}.{echo}.{k + 1}"
        meta.TransferSyntaxUID = ExplicitVRLittleEndian
        meta.ImplementationClassUID = ROOT + "9"
        image = FileDataset(None, {}, file_meta=meta, preamble=b"\0" * 128)
        image.is_little_endian, image.is_implicit_VR = True, False
        image.SOPClassUID, image.SOPInstanceUID = MR, meta.MediaStorageSOPInstanceUID
        image.StudyInstanceUID, image.SeriesInstanceUID = ROOT + "1", f"{ROOT}{number}"
        image.FrameOfReferenceUID, image.PositionReferenceIndicator = ROOT + "2", ""
        image.PatientName, image.PatientID, image.PatientBirthDate, image.PatientSex = PATIENT, "secret42", "", "O"
        image.StudyDate = image.SeriesDate = image.ContentDate = image.AcquisitionDate = "20200102"
        image.StudyTime = image.SeriesTime = image.ContentTime = image.AcquisitionTime = "101112"
        image.StudyID, image.AccessionNumber, image.ReferringPhysicianName = "1", "A1", ""
        image.Modality, image.Manufacturer, image.BodyPartExamined = "MR", "Phantom", "BRAIN"
        image.SeriesNumber, image.InstanceNumber, image.SeriesDescription = number, k + 1, "T1 " + orientation
        image.ImageType, image.ScanningSequence, image.SequenceVariant = ["ORIGINAL", "PRIMARY", "M"], "GR", "NONE"
        image.ScanOptions, image.MRAcquisitionType, image.PatientPosition = "", "2D", "HFS"
        image.EchoTime, image.RepetitionTime, image.EchoNumbers = 5 * echo, 500, echo
        image.EchoTrainLength, image.MagneticFieldStrength, image.FlipAngle = 1, 3, 30
        image.SliceThickness, image.SpacingBetweenSlices = gap, gap
        if orientation in TILTED:
            image.GantryDetectorTilt = 10
        image.PixelSpacing = digits(spacing)
        image.ImageOrientationPatient = digits([*row, *column])
        image.ImagePositionPatient = digits(numpy.array([-80.5, -60.25, 12.75]) + gap * k * step)
        image.WindowCenter, image.WindowWidth = 500, 1000
        image.SamplesPerPixel, image.PhotometricInterpretation = 1, "MONOCHROME2"
        image.Rows, image.Columns = plane.shape
        image.BitsAllocated, image.BitsStored, image.HighBit, image.PixelRepresentation = 16, 12, 11, 0
        image.PixelData = plane.astype("<u2").tobytes()
        if changes:
            changes(k, image)
        image.save_as(os.path.join(folder, f"{(k * 7 + 3) % 97:02}.dcm"), write_like_original=False)
        written.append(image)
    return written
