"""Takes the noise off an MR image or volume.

    python denoise_brain.py t1.nii.gz --output result

writes denoised.nii.gz, with the number type of the image, and figure.png into the folder. A plane goes by its wavelets, a
volume by overlapping blocks and means of similar places.
"""

import argparse

import matplotlib
import nibabel
import numpy as np

import mth
import output_folder

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402  after the choice of the back end


def denoise(data):
    """The denoised data and the deviation of its noise."""
    if data.ndim == 2:
        rows = mth.denoise(data.T, "wavelet", full=True)  # an image's rows lie along x
        return rows.image.T, rows.noise
    found = mth.denoise(data, full=True, progress=True)
    return found.image, found.noise


def draw(before, after, path):
    """Before, after and what was taken off; of a volume the middle plane."""
    middle = [values if values.ndim == 2 else values[:, :, values.shape[2] // 2] for values in (before, after)]
    figure, axes = pyplot.subplots(1, 3, figsize=(12, 4.5))
    pictures = [("before", middle[0], "gray"), ("after", middle[1], "gray"), ("taken off", middle[0] - middle[1], "coolwarm")]
    for axis, (title, values, colours) in zip(axes, pictures):
        axis.imshow(values.T, cmap=colours, origin="lower")
        axis.set_title(title)
        axis.axis("off")
    figure.savefig(path, bbox_inches="tight")
    pyplot.close(figure)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("image", help="NIfTI image")
    output_folder.add_options(parser, "denoise_brain_output")
    options = parser.parse_args()
    output_folder.make(parser, options)
    image = nibabel.load(options.image)
    data = np.asarray(image.dataobj, dtype=np.float64)
    clean, noise = denoise(data)
    kind = image.get_data_dtype()
    if kind.kind in "iu":
        clean = np.clip(np.rint(clean), np.iinfo(kind).min, np.iinfo(kind).max)
    nibabel.save(nibabel.Nifti1Image(clean.astype(kind), image.affine), options.output / "denoised.nii.gz")
    draw(data, clean, options.output / "figure.png")
    print(f"noise: standard deviation {noise:.3g}")


if __name__ == "__main__":
    main()
