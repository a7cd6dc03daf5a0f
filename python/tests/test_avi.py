import os
import struct
import tempfile
import unittest
from fractions import Fraction

import numpy as np

import tkmjpg
from pictures import picture, psnr
from tkmjpg import _avi_layout


class Films(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "film.avi")

    def write(self, count=5, height=52, **options):
        with tkmjpg.AviWriter(self.path, Fraction(30000, 1001), quality=90, **options) as film:
            for number in range(count):
                film.write(picture(height, 64, 2, 9 * number))

    def check(self, count=5, height=52):
        with tkmjpg.AviReader(self.path, layout="YUY2") as film:
            self.assertEqual((len(film), film.width, film.height), (count, 64, height))
            self.assertEqual(film.rate, Fraction(30000, 1001))
            for number, frame in enumerate(film):
                self.assertGreater(psnr(frame, picture(height, 64, 2, 9 * number)), 35)
            np.testing.assert_array_equal(film[-1], film[count - 1])
            with self.assertRaises(IndexError):
                film[count]

    def test_there_and_back(self):
        for options in ({}, {"fields": "top"}, {"fields": "bottom"}):
            with self.subTest(options):
                self.write(**options)
                self.check()
                self.assertEqual(os.listdir(os.path.dirname(self.path)), ["film.avi"])

    def test_films_of_several_segments(self):
        whole = _avi_layout._SEGMENT_BYTES
        self.addCleanup(setattr, _avi_layout, "_SEGMENT_BYTES", whole)
        _avi_layout._SEGMENT_BYTES = 3000
        self.write(20)
        with open(self.path, "rb") as file:
            self.assertGreater(file.read().count(b"AVIX"), 2)
        self.check(20)

    def test_a_cut_film_has_the_frames_that_are_whole(self):
        self.write(5)
        with open(self.path, "rb") as file:
            data = file.read()
        last = data.rindex(b"00dc", 0, data.index(b"ix00"))
        with open(self.path, "wb") as file:
            file.write(data[: last + 50])
        self.check(4)

    def test_a_film_that_was_never_completed(self):
        film = tkmjpg.AviWriter(self.path, Fraction(30000, 1001), quality=90)
        for number in range(3):
            film.write(picture(52, 64, 2, 9 * number))
        film._file.flush()
        self.assertFalse(os.path.exists(self.path))
        with tkmjpg.AviReader(self.path + ".part") as part:
            self.assertEqual(len(part), 3)
        film.close()
        self.check(3)

    def test_an_empty_frame_repeats_the_one_before(self):
        with tkmjpg.AviWriter(self.path) as film:
            film.write(picture(48, 64, 3))
            film.write_stream(b"", 64, 48)
        with tkmjpg.AviReader(self.path) as film:
            np.testing.assert_array_equal(film[0], film[1])

    def test_errors(self):
        with tkmjpg.AviWriter(self.path) as film:
            film.write(picture(48, 64, 3))
            with self.assertRaisesRegex(tkmjpg.Error, "64 x 48 pixels, and not 32 x 48"):
                film.write(picture(48, 32, 3))
        with open(self.path, "rb") as file:
            data = bytearray(file.read())
        head = data.index(b"strf") + 8
        cases = [
            (b"", "no AVI"),
            (b"RIFF" + bytes(100), "no AVI"),
            (data[:100], "no video"),
            (data[: head + 4] + struct.pack("<i", 0) + data[head + 8 :], "no size"),
        ]
        for content, text in cases:
            with open(self.path, "wb") as file:
                file.write(content)
            with self.subTest(text), self.assertRaisesRegex(tkmjpg.Error, text):
                tkmjpg.AviReader(self.path)
        for rate in (0, -1, Fraction(1, 1 << 40)):
            with self.assertRaisesRegex(tkmjpg.Error, "frames a second"):
                tkmjpg.AviWriter(self.path, rate)


if __name__ == "__main__":
    unittest.main()
