"""Pictures for the tests: soft, so that coding changes them little."""

import numpy as np


def picture(height, width, channels, seed=0):
    y, x = np.mgrid[0:height, 0:width]
    planes = [
        128 + 60 * np.sin((x + seed) / (30 + 7 * c)) * np.cos(y / (25 + 5 * c))
        for c in range(channels)
    ]
    return np.stack(planes, axis=2).astype(np.uint8)


def psnr(a, b):
    error = np.mean((a.astype(float) - b.astype(float)) ** 2)
    return 99 if error == 0 else 10 * np.log10(255 * 255 / error)
