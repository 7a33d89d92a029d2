"""Divides a T1 image without its skull into CSF, grey and white matter.

    python segment_brain.py t1_brain.nii.gz --output result

writes labels.nii.gz, membership_1.nii.gz ... and figure.png into the folder, in the place of the image.
"""

import argparse

import matplotlib
import nibabel
import numpy as np

import mth
import output_folder

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  after the choice of the back end


def segment(image, tissues):
    """The tissues of a NIfTI image: the noise is taken off first, and its confidence kept."""
    data = np.asarray(image.dataobj, dtype=np.float64)  # in Fortran order, as the file has it
    mask = data > 0
    clean = mth.denoise(np.where(mask, data, 0.0), full=True, progress=True)
    voxel_size = [float(length) for length in image.header.get_zooms()[:3]]
    return mth.tissue_clustering(clean.image, tissues, mask=mask & (clean.image > 0), confidence=clean.confidence,
                                 voxel_size=voxel_size, progress=True)


def middle_plane(values):
    """The middle plane along z, seen with the front up."""
    plane = values if values.ndim == 2 else values[:, :, values.shape[2] // 2]
    return plane.T


def draw(image, found, path):
    """The image, the labels and the fraction of the brightest tissue side by side."""
    pictures = [("image", np.asarray(image.dataobj), "gray"), ("tissues", found.labels, "viridis"),
                ("fraction of the brightest", found.fractions[-1], "magma")]
    figure, axes = pyplot.subplots(1, len(pictures), figsize=(12, 4.5))
    for axis, (title, values, colours) in zip(axes, pictures):
        axis.imshow(middle_plane(values), cmap=colours, origin="lower")
        axis.set_title(title)
        axis.axis("off")
    figure.savefig(path, bbox_inches="tight")
    pyplot.close(figure)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("image", help="NIfTI image")
    parser.add_argument("--tissues", type=int, default=3)
    output_folder.add_options(parser, "segment_brain_output")
    options = parser.parse_args()
    output_folder.make(parser, options)
    image = nibabel.load(options.image)
    found = segment(image, options.tissues)
    nibabel.save(nibabel.Nifti1Image(found.labels, image.affine), options.output / "labels.nii.gz")
    for number, fraction in enumerate(found.fractions, start=1):
        name = f"membership_{number}.nii.gz"
        nibabel.save(nibabel.Nifti1Image(fraction.astype(np.float32), image.affine), options.output / name)
    draw(image, found, options.output / "figure.png")
    millilitres = np.prod(image.header.get_zooms()) / 1000.0
    for number, (centroid, fraction) in enumerate(zip(found.centroids[:, 0], found.fractions), start=1):
        print(f"tissue {number}: intensity {centroid:.1f}, {fraction.sum() * millilitres:.2f} ml")


if __name__ == "__main__":
    main()
