"""An enhanced MR file for the tests: the images of a series as the frames of one file, without an error of dciodvfy's."""

from pydicom.dataset import Dataset, FileDataset
from pydicom.sequence import Sequence

from dicom_series import MR, ROOT

NO, NONE = "NO", "NONE"
COPIED = """SOPInstanceUID StudyInstanceUID SeriesInstanceUID FrameOfReferenceUID PositionReferenceIndicator PatientName
    PatientID PatientBirthDate PatientSex StudyDate SeriesDate ContentDate StudyTime SeriesTime ContentTime StudyID
    AccessionNumber ReferringPhysicianName Modality Manufacturer BodyPartExamined SeriesNumber InstanceNumber
    SeriesDescription MRAcquisitionType PatientPosition MagneticFieldStrength SamplesPerPixel PhotometricInterpretation
    Rows Columns BitsAllocated BitsStored HighBit PixelRepresentation""".split()
KIND = {"PixelPresentation": "MONOCHROME", "VolumetricProperties": "VOLUME", "VolumeBasedCalculationTechnique": NONE,
        "ComplexImageComponent": "MAGNITUDE", "AcquisitionContrast": "T1"}
TYPE = ["ORIGINAL", "PRIMARY", "M", NONE]
OF_FILE = {
    **KIND, "ImageType": TYPE, "ManufacturerModelName": "P", "DeviceSerialNumber": "1", "SoftwareVersions": "1",
    "AcquisitionDateTime": "20200102101112", "AcquisitionDuration": 1.0, "ResonantNucleus": "1H",
    "KSpaceFiltering": NONE, "ContentQualification": "RESEARCH", "ApplicableSafetyStandardAgency": "IEC",
    "BurnedInAnnotation": NO, "LossyImageCompression": "00", "PresentationLUTShape": "IDENTITY",
    "PulseSequenceName": "fl", "EchoPulseSequence": "GRADIENT", "MultiPlanarExcitation": NO, "PhaseContrast": NO,
    "TimeOfFlightContrast": NO, "SteadyStatePulseSequence": NONE, "SaturationRecovery": NO,
    "SpectrallySelectedSuppression": NONE, "EchoPlanarPulseSequence": NO, "OversamplingPhase": NONE,
    "SegmentedKSpaceTraversal": "SINGLE", "GeometryOfKSpaceTraversal": "RECTILINEAR", "NumberOfKSpaceTrajectories": 1,
    "RectilinearPhaseEncodeReordering": "LINEAR", "AcquisitionContextSequence": [],
    "DimensionOrganizationSequence": {"DimensionOrganizationUID": ROOT + "8"},
    "DimensionIndexSequence": {"DimensionOrganizationUID": ROOT + "8", "DimensionIndexPointer": 0x00209057,
                               "FunctionalGroupPointer": 0x00209111}}
OF_ALL_FRAMES = {
    "MRTimingAndRelatedParametersSequence": {
        "RepetitionTime": 500, "FlipAngle": 30, "EchoTrainLength": 0, "RFEchoTrainLength": 0, "GradientEchoTrainLength": 1,
        "OperatingModeSequence": {"OperatingModeType": "RF", "OperatingMode": "IEC_NORMAL"},
        "SpecificAbsorptionRateSequence": {"SpecificAbsorptionRateDefinition": "IEC_WHOLE_BODY",
                                           "SpecificAbsorptionRateValue": 1.0}},
    "FrameAnatomySequence": {"FrameLaterality": "U", "AnatomicRegionSequence": {
        "CodeValue": "12738006", "CodingSchemeDesignator": "SCT", "CodeMeaning": "Brain"}},
    "MRImageFrameTypeSequence": {"FrameType": TYPE, **KIND},
    "MRImagingModifierSequence": {"MagnetizationTransfer": NONE, "BloodSignalNulling": NO, "Tagging": NONE,
                                  "TransmitterFrequency": 123.0, "PixelBandwidth": 100.0},
    "MRModifierSequence": {"InversionRecovery": NO, "FlowCompensation": NONE, "Spoiling": "RF", "T2Preparation": NO,
                           "SpectrallySelectedExcitation": NONE, "SpatialPresaturation": NONE, "PartialFourier": NO,
                           "ParallelAcquisition": NO},
    "MRReceiveCoilSequence": {"ReceiveCoilName": "C", "ReceiveCoilManufacturerName": "", "ReceiveCoilType": "BODY",
                              "QuadratureReceiveCoil": NO},
    "MRTransmitCoilSequence": {"TransmitCoilName": "C", "TransmitCoilManufacturerName": "", "TransmitCoilType": "BODY"},
    "MRAveragesSequence": {"NumberOfAverages": 1.0},
    "PixelValueTransformationSequence": {"RescaleIntercept": "0", "RescaleSlope": "1", "RescaleType": "US"}}


def fill(item, values):
    """A data set with these values; one that is a dictionary becomes a sequence of one item."""
    for name, value in values.items():
        setattr(item, name, Sequence([fill(Dataset(), value)]) if isinstance(value, dict) else value)
    return item


def write_enhanced(path, images):
    """Writes the images from the last to the first."""
    first = images[0]
    file = FileDataset(None, {}, file_meta=first.file_meta, preamble=b"\0" * 128)
    file.is_little_endian, file.is_implicit_VR = True, False
    fill(file, {name: first[name].value for name in COPIED})
    file.file_meta.MediaStorageSOPClassUID = file.SOPClassUID = MR + ".1"
    frames = [fill(Dataset(), {
        "FrameContentSequence": {"StackID": "1", "InStackPositionNumber": number, "DimensionIndexValues": [number],
                                 "FrameAcquisitionDateTime": "20200102101112",
                                 "FrameReferenceDateTime": "20200102101112", "FrameAcquisitionDuration": 1.0},
        "PlanePositionSequence": {"ImagePositionPatient": image.ImagePositionPatient},
        "MREchoSequence": {"EffectiveEchoTime": float(image.EchoTime)},
    }) for number, image in reversed(list(enumerate(images, 1)))]
    fill(file, {
        **OF_FILE, "NumberOfFrames": len(images), "PerFrameFunctionalGroupsSequence": Sequence(frames),
        "SharedFunctionalGroupsSequence": {
            **OF_ALL_FRAMES,
            "PixelMeasuresSequence": {name: first[name].value for name in
                                      ("PixelSpacing", "SliceThickness", "SpacingBetweenSlices")},
            "PlaneOrientationSequence": {"ImageOrientationPatient": first.ImageOrientationPatient}},
        "PixelData": b"".join(image.PixelData for image in reversed(images))})
    file.save_as(path, write_like_original=False)
