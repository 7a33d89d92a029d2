#!/usr/bin/python3
"""DICOM read by the hosts, held against programs of others: pydicom, dcm2niix and DCMTK's converters.

    dicom_test.py FOLDER_OF_THE_BUILD FOLDER_OF_THE_DATA

Status 77, with a word, where one of them is missing.
"""

import glob
import gzip
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

try:
    import numpy
    import pydicom
    from dicom_enhanced import write_enhanced
    from dicom_series import ORIENTATIONS, ROOT, read_nifti, volume, write_series
except ImportError as error:
    print("left out:", error, "(Debian: python3-pydicom, python3-numpy)")
    sys.exit(77)
missing = [tool for tool in ("dcm2niix", "dcmdjpeg", "dcmcjpeg", "dcmcrle", "dcmcjpls", "dcmconv")
           if shutil.which(tool) is None]
if missing:
    print("left out: no", *missing, "(Debian: dcm2niix, dcmtk)")
    sys.exit(77)

BUILD, DATA = sys.argv[1:3]
PLANES = volume(DATA, 7)
SAMPLES = os.path.join(os.path.dirname(pydicom.__file__), "data", "test_files")


def run(program, *arguments, environment=None):
    return subprocess.run([program, *arguments], capture_output=True, text=True, check=False,
                          env={**os.environ, **(environment or {})})


class Hosts(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = scratch.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, path, series="-", echo="-"):
        done = run(os.path.join(BUILD, "tests/examples/dicom_probe"), "read", path, series, echo, self.path("read.nii"))
        self.assertIn(done.returncode, (0, 2), done.stderr)
        self.assertEqual(done.stdout, "")
        for word in ("Doe", "Jane", "secret42", "A1"):
            self.assertNotIn(word, done.stderr)
        return done.stderr if done.returncode else read_nifti(self.path("read.nii"))

    def host(self, name, *arguments, environment=None):
        return run(os.path.join(BUILD, f"examples/{name}/{name}"), *arguments, environment=environment)

    def expect_planes(self, voxels, planes):
        expected = numpy.transpose(numpy.array(planes), (2, 1, 0))[:, ::-1, :]
        self.assertTrue(numpy.array_equal(voxels, expected))


class Reading(Hosts):
    def describe(self, *arguments):
        return self.host("describe_slice", *arguments)

    def test_lies_as_dcm2niix_puts_it(self):
        for orientation in ORIENTATIONS:
            with self.subTest(orientation):
                folder = self.path(orientation)
                images = write_series(folder, orientation, PLANES)
                voxels, affine = self.read(folder)
                write_enhanced(self.path("enhanced.dcm"), images)
                frames, frames_affine = self.read(self.path("enhanced.dcm"))
                self.assertTrue(numpy.array_equal(frames, voxels) and numpy.array_equal(frames_affine, affine))
                run("dcm2niix", "-w", "1", "-b", "n", "-z", "n", "-f", "other", "-o", self.folder, folder)
                other, other_affine = read_nifti(self.path("other.nii"))
                self.assertTrue(numpy.array_equal(voxels, other))
                if orientation != "tilted":  # there that program lengthens the rows' distance and shortens the slices'
                    self.assertLess(abs(affine - other_affine).max(), 1e-4)
                for image in images:  # where the file puts the last voxel of its first row
                    place = [float(x) for x in image.ImagePositionPatient]
                    place += (image.Columns - 1) * float(image.PixelSpacing[1]) * numpy.array(
                        image.ImageOrientationPatient[:3], float)
                    voxel = numpy.linalg.solve(affine[:, :3], [-place[0], -place[1], place[2]] - affine[:, 3])
                    self.assertLess(abs(voxel[:2] - [image.Columns - 1, image.Rows - 1]).max(), 1e-4)
                    slice_ = image.pixel_array[::-1].T
                    self.assertTrue(numpy.array_equal(voxels[:, :, round(voxel[2])], slice_))

    def test_reads_every_syntax_that_is_decoded(self):
        images = write_series(self.path("series"), "axial", PLANES[:1])
        source = glob.glob(self.path("series/*.dcm"))[0]
        for tool, *options in (["dcmconv", "+ti"], ["dcmconv", "+tb"], ["dcmconv", "+td"], ["dcmcrle"],
                               ["dcmcjpeg"], ["dcmcjpeg", "+el"], ["dcmcjpls"]):
            with self.subTest(tool=tool, options=options):
                self.assertEqual(run(tool, *options, source, self.path("coded.dcm")).returncode, 0)
                self.expect_planes(self.read(self.path("coded.dcm"))[0], [images[0].pixel_array])

    def test_reads_every_kind_of_number(self):
        plane = PLANES[0].astype(int)
        for bits, is_signed, is_inverted in ((8, False, False), (12, False, True), (12, True, False), (16, True, True),
                                             (16, False, False)):
            with self.subTest(bits=bits, is_signed=is_signed, is_inverted=is_inverted):
                stored = plane % 256 if bits == 8 else plane * (2 ** bits - 1) // plane.max()
                stored = stored - (2 ** (bits - 1) if is_signed else 0)

                def change(_, image):
                    image.BitsAllocated, image.BitsStored, image.HighBit = (8 if bits == 8 else 16), bits, bits - 1
                    image.PixelRepresentation = int(is_signed)
                    image.PhotometricInterpretation = "MONOCHROME1" if is_inverted else "MONOCHROME2"
                    image.RescaleSlope, image.RescaleIntercept = "0.5", "-7"
                    image.PixelData = stored.astype("u1" if bits == 8 else "<i2" if is_signed else "<u2").tobytes()
                    image.PixelData += b"\0" * (len(image.PixelData) % 2)

                shutil.rmtree(self.path("series"), ignore_errors=True)
                write_series(self.path("series"), "axial", PLANES[:1], changes=change)
                turned = (-1 if is_signed else 2 ** bits - 1) - stored if is_inverted else stored
                self.expect_planes(self.read(self.path("series"))[0], [turned * 0.5 - 7])

    def test_reads_or_refuses_the_samples_of_others(self):
        reasons = {"JPEG2000.dcm": "JPEG 2000", "693_J2KI.dcm": "JPEG 2000", "MR_truncated.dcm": "truncated",
                   "SC_rgb_rle.dcm": "colour", "rtdose.dcm": "32 bits", "test-SR.dcm": "no DICOM image",
                   "rtstruct.dcm": "no DICOM image"}
        read = 0
        for path in glob.glob(os.path.join(SAMPLES, "*.dcm")) + glob.glob(os.path.join(SAMPLES, "dicomdirtests/[79]*/*/*")):
            name = os.path.basename(path)
            with self.subTest(name):
                result = self.read(path)
                if isinstance(result, str):
                    self.assertIn(name, result)
                    self.assertIn(reasons.get(name, ""), result)
                    continue
                self.assertNotIn(name, reasons)
                image = pydicom.dcmread(path)
                is_lossless = "JPEG" not in image.file_meta.TransferSyntaxUID.name
                if name == "MR_small_jpeg_ls_lossless.dcm":
                    image, is_lossless = pydicom.dcmread(os.path.join(SAMPLES, "MR_small.dcm")), True
                if is_lossless:
                    slope, intercept = float(image.get("RescaleSlope", 1)), float(image.get("RescaleIntercept", 0))
                    is_inverted = image.PhotometricInterpretation == "MONOCHROME1"
                    stored = 2 ** image.BitsStored - 1 - image.pixel_array if is_inverted else image.pixel_array
                    self.expect_planes(result[0], [stored * slope + intercept])
                    read += 1
        self.assertGreaterEqual(read, 8 + 31)

    def test_asks_which_series(self):
        write_series(self.path("disc/a"), "axial", PLANES, number=3)
        write_series(self.path("disc/b"), "coronal", PLANES[:3], number=4)
        write_series(self.path("disc/b/c"), "sagittal", PLANES[:2], number=5, changes=lambda _, image: setattr(
            image, "ImageType", ["ORIGINAL", "PRIMARY", "LOCALIZER"]))
        refusal = self.read(self.path("disc"))
        for words in ("--series", "3 'T1 axial', 7 slices of 91 x 109;", "4 'T1 coronal', 3 slices", "localiser"):
            self.assertIn(words, refusal)
        listed = self.describe(self.path("disc"), "--list").stdout.splitlines()
        self.assertEqual([line.split(" ")[0] for line in listed], ["3", "4", "5"])
        self.assertEqual(self.read(self.path("disc"), "4")[0].shape, (91, 109, 3))
        self.assertEqual(self.read(self.path("disc"), ROOT + "5")[0].shape, (91, 109, 2))
        self.assertIn("no series 7", self.read(self.path("disc"), "7"))
        directory = os.path.join(SAMPLES, "dicomdirtests", "DICOMDIR")
        self.assertIn("--series", self.read(directory))
        self.assertIn("two directions", self.read(directory, "700"))  # views of vessels, all around the head
        planes = [pydicom.dcmread(path) for path in glob.glob(os.path.join(SAMPLES, "dicomdirtests/98892001/CT5N/*"))]
        planes.sort(key=lambda image: float(image.ImagePositionPatient[2]))
        self.expect_planes(self.read(directory, "5")[0], [image.pixel_array * image.RescaleSlope + image.RescaleIntercept
                                                          for image in planes])
        for echo in (1, 2):
            write_series(self.path(f"echoes/{echo}"), "axial", PLANES[echo:echo + 3], echo=echo, changes=lambda k, image: (
                setattr(image, "ImagePositionPatient", ["0", "0", str(k)]), setattr(image, "SeriesInstanceUID", ROOT + "3")))
        self.assertIn("--echo: 1, 2", self.read(self.path("echoes")))
        listed = self.describe(self.path("echoes"), "--list").stdout
        self.assertEqual([line.split(", ")[1:] for line in listed.splitlines()],
                         [["3 slices of 91 x 109", "echo 1"], ["3 slices of 91 x 109", "echo 2"]])
        self.expect_planes(self.read(self.path("echoes"), echo="2")[0], PLANES[2:5])

    def test_refuses_what_would_have_to_be_guessed(self):
        def third(**values):
            return lambda k, image: [setattr(image, name, value) for name, value in values.items() if k == 2]

        cases = {
            "two directions": third(ImageOrientationPatient=["1", "0", "0", "0", "0.6", "0.8"]),
            "two sizes": third(Rows=len(PLANES[0]) - 1),
            "two voxel sizes": third(PixelSpacing=["1", "1"]),
            "unequal spacing": third(ImagePositionPatient=["-80.5", "-60.25", "17.25"]),
            "same place": third(ImagePositionPatient=["-80.5", "-60.25", "15.25"]),
            "not lie on a line": third(ImagePositionPatient=["-70.5", "-60.25", "17.75"]),
            "no place": lambda k, image: image.pop("ImagePositionPatient", None) if k == 2 else None,
            "truncated": third(Rows=60000),
            "damaged": third(BitsStored=17),
        }
        for reason, change in cases.items():
            with self.subTest(reason):
                shutil.rmtree(self.path("series"), ignore_errors=True)
                write_series(self.path("series"), "axial", PLANES, changes=change)
                refusal = self.read(self.path("series"))
                self.assertIn(reason, refusal)
                self.assertIn("17.dcm", refusal)  # the third
        write_series(self.path("gap"), "axial", PLANES)
        os.remove(self.path("gap/17.dcm"))
        refusal = self.read(self.path("gap"))
        for words in ("a slice is missing between two that are 5 mm apart, others 2.5 mm", "10.dcm", "24.dcm"):
            self.assertIn(words, refusal)
        with open(self.path("gap/10.dcm"), "r+b") as file:
            file.truncate(3000)
        self.assertIn("truncated DICOM file: " + self.path("gap/10.dcm"), self.read(self.path("gap")))

    def test_describes_a_series_in_the_words_of_the_scanner(self):
        write_series(self.path("series"), "oblique", PLANES)
        text = self.describe(self.path("series")).stdout
        for words in ("Orientation  AXI > SAG -14 > COR 35", "Slices       7, 2.5 mm apart",
                      "First voxel  -80.50 -60.25 12.75 of the first slice"):
            self.assertIn(words, text)
        one = self.describe(self.path("series/17.dcm")).stdout
        self.assertIn("Slices       1", one)
        self.assertIn("AXI > SAG -14 > COR 35", one)

    def test_survives_mutated_files(self):
        write_series(self.path("series"), "axial", PLANES[:1])
        files = glob.glob(self.path("series/*.dcm"))
        files += [os.path.join(SAMPLES, name) for name in ("MR_small_RLE.dcm", "MR_small_jpeg_ls_lossless.dcm",
                                                           "MR_small_bigendian.dcm", "CT_small.dcm", "image_dfl.dcm")]
        done = run(os.path.join(BUILD, "tests/examples/dicom_probe"), "mutate", "300", "1", self.path("mutated.dcm"), *files)
        self.assertEqual(done.returncode, 0, done.stderr[-4000:])
        self.assertIn("300 mutated files", done.stdout)


class Writing(Hosts):
    def make_objects(self, name, *options):
        """segment_mr's or denoise_mr's objects, each without an error of dciodvfy's."""
        folder = self.path("objects")
        shutil.rmtree(folder, ignore_errors=True)
        done = self.host(name, self.path("series"), "-o", self.path("result"), "--dicom-output", folder, *options,
                         environment={"SOURCE_DATE_EPOCH": "1600000000"})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertNotIn("Doe", done.stdout)
        paths = sorted(glob.glob(os.path.join(folder, "*.dcm")))
        for path in paths if shutil.which("dciodvfy") else []:
            checked = run("dciodvfy", path)
            errors = [line for line in (checked.stdout + checked.stderr).splitlines() if line.startswith("Error")]
            self.assertEqual(errors, [], path)
        return [pydicom.dcmread(path) for path in paths]

    def expect_laid_over(self, object_, frames, affine, value_of):
        """Every voxel of every segment, put by the object's own geometry where it is in the NIfTI of that affine."""
        shared = object_.SharedFunctionalGroupsSequence[0]
        row, column = numpy.array(shared.PlaneOrientationSequence[0].ImageOrientationPatient, float).reshape(2, 3)
        down, across = map(float, shared.PixelMeasuresSequence[0].PixelSpacing)
        inverse = numpy.linalg.inv(numpy.vstack([affine, [0, 0, 0, 1]]))
        ys, xs = numpy.mgrid[:object_.Rows, :object_.Columns]
        seen = {}
        for frame, groups in zip(frames, object_.PerFrameFunctionalGroupsSequence):
            start = numpy.array(groups.PlanePositionSequence[0].ImagePositionPatient, float)
            places = start + xs[..., None] * across * row + ys[..., None] * down * column
            places = numpy.dstack([-places[..., 0], -places[..., 1], places[..., 2], numpy.ones(xs.shape)])
            voxels = places @ inverse.T
            i, j, k = numpy.moveaxis(numpy.rint(voxels[..., :3]).astype(int), 2, 0)
            self.assertLess(abs(voxels[..., :3] - numpy.dstack([i, j, k])).max(), 1e-3)
            segment = groups.SegmentIdentificationSequence[0].ReferencedSegmentNumber
            expected = value_of(segment)
            self.assertTrue(numpy.array_equal(frame, expected[i, j, k]))
            seen.setdefault(segment, set()).add(int(k[0, 0]))
        for segment in range(1, len(object_.SegmentSequence) + 1):  # no slice of it was left out
            there = numpy.flatnonzero(value_of(segment).any(axis=(0, 1)))
            self.assertLessEqual(set(there), seen[segment])

    def test_lays_labels_over_the_source(self):
        for orientation in ("double_oblique", "gantry", "reversed"):
            with self.subTest(orientation):
                shutil.rmtree(self.path("series"), ignore_errors=True)
                sources = write_series(self.path("series"), orientation, PLANES)
                report, object_ = self.make_objects("segment_mr")
                labels, affine = read_nifti(self.path("result/labels.nii.gz"))
                self.expect_laid_over(object_, object_.pixel_array, affine, lambda segment: labels == segment)
        volumes = self.measurements(report)
        for label, name in enumerate(("Cerebrospinal fluid", "Grey matter", "White matter"), 1):
            self.assertAlmostEqual(volumes[name]["Volume"], (labels == label).sum() * 0.9 * 1.1 * 2.5 / 1000, 6)
        segments = object_.SegmentSequence
        self.assertEqual([item.SegmentedPropertyTypeCodeSequence[0].CodeValue for item in segments],
                         ["65216001", "389081007", "389080008"])
        self.assertEqual({item.SegmentAlgorithmName for item in segments}, {"tissues and mixtures"})
        source = {image.SOPInstanceUID: image for image in sources}
        for groups in object_.PerFrameFunctionalGroupsSequence:
            reference = groups.DerivationImageSequence[0].SourceImageSequence[0].ReferencedSOPInstanceUID
            self.assertEqual([float(x) for x in source[reference].ImagePositionPatient],
                             [float(x) for x in groups.PlanePositionSequence[0].ImagePositionPatient])
        for name in ("PatientName", "PatientID", "StudyInstanceUID", "FrameOfReferenceUID"):
            self.assertEqual(object_[name].value, sources[0][name].value)
        self.assertEqual(object_.ContentDate, "20200913")
        with gzip.open(self.path("result/labels.nii.gz"), "rb") as file:
            mask = bytearray(file.read())
        mask[352:] = (labels * (numpy.indices(labels.shape).sum(axis=0) % 9 == 0)).astype("u1").tobytes(order="F")
        pathlib.Path(self.path("lesions.nii")).write_bytes(mask)
        there = read_nifti(self.path("lesions.nii"))[0] > 0
        report, object_ = self.make_objects("segment_mr", "--lesions", self.path("lesions.nii"))
        labels, affine = read_nifti(self.path("result/labels.nii.gz"))
        self.assertTrue(numpy.array_equal(labels == 4, there))
        self.expect_laid_over(object_, object_.pixel_array, affine, lambda segment: labels == segment)
        lesions = object_.SegmentSequence[3]
        self.assertEqual((lesions.SegmentedPropertyTypeCodeSequence[0].CodeValue, lesions.SegmentAlgorithmType),
                         ("52988006", "MANUAL"))
        self.assertAlmostEqual(self.measurements(report)["Lesions"]["Volume"], there.sum() * 0.9 * 1.1 * 2.5 / 1000, 6)
        _, object_ = self.make_objects("segment_mr", "--method", "ecm", "-c", "3", "--dicom-fractions", "--anonymous",
                                       "--lesions", self.path("lesions.nii"))
        shares = [read_nifti(self.path(f"result/{name}.nii.gz"))[0] for name in
                  ("membership_1", "membership_2", "membership_3", "undecided")] + [there]
        self.expect_laid_over(object_, object_.pixel_array, affine, lambda segment: numpy.rint(
            shares[segment - 1].astype("f4") * numpy.float32(255)))
        self.assertNotIn("Doe", str(object_))
        self.assertNotIn("secret42", str(object_))

    def measurements(self, report):
        """The numbers of a Structured Report, by the tracking identifiers of their groups."""
        found = {}
        groups = [item for item in report.ContentSequence if item.get("ConceptNameCodeSequence") and
                  item.ConceptNameCodeSequence[0].CodeMeaning == "Imaging Measurements"][0].ContentSequence
        for group in groups:
            names = [item.TextValue for item in group.ContentSequence if item.ValueType == "TEXT"]
            found[names[0]] = {item.ConceptNameCodeSequence[0].CodeMeaning: float(item.MeasuredValueSequence[0].NumericValue)
                               for item in group.ContentSequence if item.ValueType == "NUM"}
        return found

    def test_reports_textures(self):
        write_series(self.path("series"), "coronal", PLANES)
        for options in ([], ["--anonymous"]):
            report, = self.make_objects("texture_mr", *options)
            self.assertEqual("Doe" in str(report), not options)
            with open(self.path("result/texture.csv"), encoding="utf-8") as file:
                rows = [line.split(",") for line in file.read().splitlines()]
            column = rows[0].index("mean")
            values = self.measurements(report)["image"]
            self.assertAlmostEqual(values.pop("Volume"), 7 * 91 * 109 * 0.9 * 1.1 * 2.5 / 1000, 6)
            self.assertEqual(len(values), len(rows) - 1)
            for row in rows[1:]:
                self.assertAlmostEqual(values[row[2]] / float(row[column]), 1, 9)

    def test_writes_a_derived_series(self):
        sources = write_series(self.path("series"), "oblique", PLANES)
        images = self.make_objects("denoise_mr")
        voxels, _ = read_nifti(self.path("result/denoised.nii.gz"))
        self.expect_planes(voxels, [image.pixel_array for image in images])
        self.assertEqual(len({image.SOPInstanceUID for image in images} - {image.SOPInstanceUID for image in sources}), 7)
        self.assertEqual(len({image.SeriesInstanceUID for image in images}), 1)
        for image, source in zip(images, sources):
            self.assertEqual(list(image.ImageType), ["DERIVED", "SECONDARY", "M"])
            self.assertEqual(image.SourceImageSequence[0].ReferencedSOPInstanceUID, source.SOPInstanceUID)
            self.assertIn("noise deviation", image.DerivationDescription)
            for name in ("PatientName", "WindowCenter", "WindowWidth", "ImagePositionPatient", "EchoTime"):
                self.assertEqual(image[name].value, source[name].value)
        self.assertEqual(self.read(self.path("objects"))[0].tolist(), voxels.tolist())
        for image in self.make_objects("denoise_mr", "--anonymous"):
            self.assertNotIn("Doe", str(image))
            self.assertNotIn("secret42", str(image))

    def test_writes_over_the_frames_of_one_file(self):
        sources = write_series(self.path("classic"), "oblique", PLANES)
        os.mkdir(self.path("series"))
        write_enhanced(self.path("series/frames.dcm"), sources)
        image, = self.make_objects("denoise_mr", "--anonymous")
        self.assertNotIn("Doe", str(image))
        image, = self.make_objects("denoise_mr")
        voxels, affine = read_nifti(self.path("result/denoised.nii.gz"))
        self.expect_planes(voxels, image.pixel_array)
        self.assertEqual(list(image.ImageType), ["DERIVED", "PRIMARY", "M", "NONE"])
        evidence = image.SourceImageEvidenceSequence[0].ReferencedSeriesSequence[0]
        self.assertEqual((evidence.SeriesInstanceUID, evidence.ReferencedSOPSequence[0].ReferencedSOPInstanceUID),
                         (sources[0].SeriesInstanceUID, sources[0].SOPInstanceUID))
        for groups, source in zip(image.PerFrameFunctionalGroupsSequence, sources):
            self.assertEqual(groups.PlanePositionSequence[0].ImagePositionPatient, source.ImagePositionPatient)
            reference = groups.DerivationImageSequence[0].SourceImageSequence[0].ReferencedFrameNumber
            self.assertEqual(reference, len(sources) + 1 - source.InstanceNumber)
        self.assertTrue(numpy.array_equal(self.read(self.path("objects"))[0], voxels))
        shutil.rmtree(self.path("result"))
        object_ = self.make_objects("segment_mr")[1]
        labels, affine = read_nifti(self.path("result/labels.nii.gz"))
        self.expect_laid_over(object_, object_.pixel_array, affine, lambda segment: labels == segment)

    def test_makes_the_same_object_of_the_same_seed(self):
        write_series(self.path("series"), "axial", PLANES)

        def bytes_of(*options):
            self.make_objects("segment_mr", "-m", "kmeans", *options)
            with open(self.path("objects/segmentation.dcm"), "rb") as file:
                return file.read()

        first = bytes_of("--uid-seed", "a", "--uid-root", "1.2.3")
        self.assertEqual(first, bytes_of("--uid-seed", "a", "--uid-root", "1.2.3"))
        uids = set()
        for options in (["--uid-seed", "a", "--uid-root", "1.2.3"], ["--uid-seed", "b", "--uid-root", "1.2.3"],
                        ["--uid-seed", "a", "-c", "3"], [], []):
            bytes_of(*options)
            object_ = pydicom.dcmread(self.path("objects/segmentation.dcm"))
            self.assertTrue(object_.SOPInstanceUID.startswith("1.2.3." if "--uid-root" in options else "2.25."))
            self.assertLessEqual(len(object_.SOPInstanceUID), 64)
            uids |= {object_.SOPInstanceUID, object_.SeriesInstanceUID}
        self.assertEqual(len(uids), 10)

    def test_refuses_what_would_harm_the_source(self):
        write_series(self.path("series"), "axial", PLANES)

        def content():
            return {path.name: path.read_bytes() for path in pathlib.Path(self.path("series")).iterdir()}

        before = content()
        nifti = os.path.join(DATA, "t1_head_axial.nii.gz")
        for path, folder, options, reason in (
                (self.path("series"), self.path("series"), [], "folder of the source"),
                (self.path("series/17.dcm"), self.path("series"), [], "folder of the source"),
                (self.path("series"), self.path("series/below"), [], "folder of the source"),
                (nifti, self.path("objects"), [], "needs a DICOM image"),
                (self.path("series"), self.path("objects"), ["--axis", "x"], "taken whole"),
                (self.path("series"), self.path("objects"), ["--json", self.path("series/17.dcm"), "--force"], "is an input"),
                (self.path("series"), self.path("objects"), ["--uid-root", "1.02"], "--uid-root")):
            with self.subTest(reason):
                done = self.host("segment_mr", path, "-o", self.path("result"), "--dicom-output", folder, *options)
                self.assertEqual(done.returncode, 2)
                self.assertIn(reason, done.stderr)
        self.assertEqual(content(), before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
