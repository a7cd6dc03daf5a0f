import io
import unittest

import numpy as np
from PIL import Image

import tkmjpg
from pictures import picture, psnr


class RoundTrips(unittest.TestCase):
    def test_layouts_and_options(self):
        cases = [
            # bytes a pixel, options of encode, options of decode
            (2, {}, {"layout": "YUY2"}),
            (2, {"layout": "UYVY"}, {"layout": "UYVY"}),
            (2, {"layout": "YUY2", "full_range": True}, {"layout": "YUY2"}),
            (3, {}, {}),
            (3, {"huffman_tables": False}, {}),
            (3, {"fields": "top"}, {}),
            (3, {"fields": "bottom"}, {}),
            (3, {"fields": "top"}, {"first_image": "top"}),
            (4, {}, {"layout": "BGR4"}),
            (4, {"alpha": True}, {"layout": "BGRA"}),
        ]
        for channels, encoding, decoding in cases:
            for height, width in ((64, 96), (48, 50), (61, 33)):
                if "fields" in encoding and height % 16:
                    continue  # the stream does not say how high the picture was
                with self.subTest(encoding=encoding, decoding=decoding, size=(height, width)):
                    frame = picture(height, width, channels)
                    stream = tkmjpg.encode(frame, quality=95, **encoding)
                    back = tkmjpg.decode(stream, height=height, **decoding)
                    self.assertEqual(back.shape, frame.shape)
                    exact = 4 if encoding.get("alpha") else 3
                    self.assertGreater(psnr(frame[:, :-1, :exact], back[:, :-1, :exact]), 38)
                    if encoding.get("alpha"):
                        np.testing.assert_array_equal(frame[:, :, 3], back[:, :, 3])

    def test_field_orders_put_lines_where_they_were(self):
        frame = picture(64, 64, 2)
        frame[1::2, :, 0] += 60  # a bright bottom field
        for fields in ("top", "bottom"):
            stream = tkmjpg.encode(frame, quality=95, fields=fields)
            self.assertEqual(tkmjpg.inspect(stream)[2:4], (True, fields))
            self.assertGreater(psnr(frame, tkmjpg.decode(stream, layout="YUY2")), 38)
            other = "bottom" if fields == "top" else "top"
            swapped = tkmjpg.decode(stream, layout="YUY2", first_image=other)
            self.assertLess(psnr(frame, swapped), 20)

    def test_comments_say_more_than_codes(self):
        cases = [
            (b"", ("top", False)),
            (b"tkmjpg: even lines, earlier", ("top", False)),
            (b"tkmjpg: odd lines, later", ("bottom", False)),
            (b"tkmjpg: full range", ("top", True)),
            (b"CS=ITU601\0", ("top", False)),
        ]
        stream = tkmjpg.encode(picture(32, 32, 2), fields="top")
        for comment, wanted in cases:
            segment = b"\xff\xfe" + (len(comment) + 2).to_bytes(2, "big") + comment
            info = tkmjpg.inspect(stream[:2] + segment + stream[2:])
            self.assertEqual((info.first_image, info.full_range), wanted, comment)

    def test_a_reader_that_is_not_ours(self):
        # YCbCr of a JPEG reader for full range: the same samples that were given.
        frame = picture(64, 64, 2)
        stream = tkmjpg.encode(frame, quality=95, full_range=True)
        image = Image.open(io.BytesIO(stream))
        self.assertEqual((image.size, image.mode), ((64, 64), "RGB"))
        image = Image.open(io.BytesIO(stream))
        image.draft("YCbCr", (64, 64))
        self.assertGreater(psnr(np.asarray(image)[:, :, 0], frame[:, :, 0]), 38)

    def test_streams_of_a_writer_that_is_not_ours(self):
        frame = picture(64, 64, 3)
        file = io.BytesIO()
        rgb = Image.fromarray(frame[:, :, ::-1].copy())
        rgb.save(file, "JPEG", quality=95, subsampling="4:2:2")
        self.assertTrue(tkmjpg.inspect(file.getvalue()).full_range)
        self.assertGreater(psnr(tkmjpg.decode(file.getvalue()), frame), 35)


class Arrays(unittest.TestCase):
    def test_lines_may_lie_anywhere(self):
        frame = picture(48, 64, 3)
        wanted = tkmjpg.encode(frame)
        wide = np.zeros((48, 80, 3), np.uint8)
        wide[:, 8:72] = frame
        views = {
            "part of a wider picture": wide[:, 8:72],
            "bottom-up": frame[::-1].copy()[::-1],
            "every other line": np.repeat(frame, 2, axis=0)[::2],
            "mirrored twice, copied": frame[:, ::-1].copy()[:, ::-1],
            "planes, copied": np.ascontiguousarray(frame.transpose(2, 0, 1)).transpose(1, 2, 0),
            "read-only": np.frombuffer(frame.tobytes(), np.uint8).reshape(frame.shape),
        }
        for name, view in views.items():
            with self.subTest(name):
                self.assertEqual(tkmjpg.encode(view), wanted)

    def test_out_is_written_where_it_lies(self):
        stream = tkmjpg.encode(picture(48, 64, 3))
        wanted = tkmjpg.decode(stream)
        whole = np.full((60, 80, 3), 7, np.uint8)
        for name, out in {"inside": whole[6:54, 8:72], "bottom-up": whole[53:5:-1, 8:72]}.items():
            with self.subTest(name):
                self.assertIs(tkmjpg.decode(stream, out=out), out)
                np.testing.assert_array_equal(out, wanted)
                around = whole.copy()
                around[6:54, 8:72] = 7
                self.assertTrue((around == 7).all())

    def test_streams_may_be_any_buffer(self):
        stream = tkmjpg.encode(picture(16, 16, 3))
        wanted = tkmjpg.decode(stream)
        for kind in (bytearray, memoryview, lambda s: np.frombuffer(s, np.uint8)):
            np.testing.assert_array_equal(tkmjpg.decode(kind(stream)), wanted)


class RateControl(unittest.TestCase):
    def test_frames_come_near_their_size(self):
        rng = np.random.default_rng(1)
        noisy = picture(240, 320, 2) // 2 + rng.integers(0, 60, (240, 320, 2), np.uint8)
        encoder = tkmjpg.Encoder(target_size=40000)
        sizes = [len(encoder.encode(noisy)) for _ in range(10)]
        self.assertLess(abs(sizes[-1] - 40000), 2000)

    def test_no_frame_exceeds_its_bound(self):
        noise = np.random.default_rng(1).integers(0, 2, (64, 64, 4), np.uint8) * 255
        for fields in (None, "top"):
            size = len(tkmjpg.encode(noise, quality=100, alpha=True, fields=fields))
            most = tkmjpg.max_stream_size(64, 64, fields=bool(fields), alpha=True)
            self.assertLessEqual(size, most)


class Errors(unittest.TestCase):
    def test_what_cannot_be_coded_says_why(self):
        frame = np.zeros((16, 16, 3), np.uint8)
        cases = [
            (lambda: tkmjpg.encode(frame.astype(float)), TypeError, "uint8"),
            (lambda: tkmjpg.encode([1, 2]), TypeError, "NumPy"),
            (lambda: tkmjpg.encode(frame[:, :, 0]), ValueError, "shape"),
            (lambda: tkmjpg.encode(np.zeros((0, 16, 2), np.uint8)), ValueError, "16 x 0"),
            (lambda: tkmjpg.encode(np.zeros((65535, 1, 2), np.uint8)), ValueError, "too large"),
            (lambda: tkmjpg.encode(frame, layout="YUY2"), ValueError, "has 2 bytes"),
            (lambda: tkmjpg.encode(frame, layout="NV12"), ValueError, "there is no layout"),
            (lambda: tkmjpg.encode(frame, layout="R565"), ValueError, "decoder alone"),
            (lambda: tkmjpg.encode(frame, quality=0), ValueError, "1 to 100"),
            (lambda: tkmjpg.encode(frame, fields="odd"), ValueError, "fields"),
            (lambda: tkmjpg.encode(frame, full_range=True), ValueError, "16 to 235"),
            (lambda: tkmjpg.encode(frame, layout="BGR3", alpha=True), ValueError, "no alpha"),
        ]
        for call, kind, text in cases:
            with self.subTest(text), self.assertRaisesRegex(kind, text):
                call()

    def test_what_cannot_be_decoded_says_why(self):
        def jpeg(**options):
            file = io.BytesIO()
            Image.fromarray(picture(32, 32, 3)).save(file, "JPEG", **options)
            return file.getvalue()

        stream = tkmjpg.encode(picture(32, 32, 3))
        cases = [
            (b"", "no JPEG"),
            (b"GIF89a" * 10, "no JPEG"),
            (stream[:100], "does not end"),
            (stream[:-30], "cut"),
            (jpeg(progressive=True), "progressive"),
            (jpeg(subsampling="4:2:0"), "4:2:0"),
            (jpeg(subsampling="4:4:4"), "4:4:4"),
            (jpeg(subsampling="4:2:2", optimize=True), "Annex K"),
        ]
        for data, text in cases:
            with self.subTest(text), self.assertRaisesRegex(tkmjpg.Error, text):
                tkmjpg.decode(data)

    def test_no_bytes_crash(self):
        stream = tkmjpg.encode(picture(32, 32, 3), fields="top")
        rng = np.random.default_rng(1)
        decoded = 0
        for _ in range(2000):
            data = bytearray(stream)
            for _ in range(rng.integers(1, 5)):
                data[rng.integers(len(data) if rng.integers(2) else 60)] = rng.integers(256)
            try:
                tkmjpg.decode(data[: rng.integers(1, 2 * len(data))], height=32)
                decoded += 1
            except tkmjpg.Error:
                pass
        self.assertGreater(decoded, 100)

    def test_out_has_to_fit(self):
        stream = tkmjpg.encode(picture(32, 32, 3))
        fixed = np.zeros((32, 32, 3), np.uint8)
        fixed.flags.writeable = False
        cases = [
            (np.zeros((32, 32, 4), np.uint8), "3 bytes"),
            (np.zeros((32, 40, 3), np.uint8), "40 pixels wide"),
            (np.zeros((32, 64, 3), np.uint8)[:, ::2], "writeable"),
            (fixed, "writeable"),
        ]
        for out, text in cases:
            with self.subTest(text), self.assertRaisesRegex(tkmjpg.Error, text):
                tkmjpg.decode(stream, out=out)


if __name__ == "__main__":
    unittest.main()
