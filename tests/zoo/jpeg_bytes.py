"""What the zoo does to streams and AVI files byte by byte: the hand of writers that nobody can
install, such as capture cards and cameras."""
import struct

SOI, APP0, COM, DHT, SOS, EOI = 0xD8, 0xE0, 0xFE, 0xC4, 0xDA, 0xD9


def segment(marker, body):
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def avi1(code):
    return segment(APP0, b"AVI1" + bytes([code, 0]) + bytes(8))


def segments(image):
    """Marker, begin and end of each segment before the scan, and of the scan itself."""
    at = 2
    while True:
        marker, length = image[at + 1], struct.unpack(">H", image[at + 2:at + 4])[0]
        if marker == SOS:
            yield marker, at, len(image)
            return
        yield marker, at, at + 2 + length
        at += 2 + length


def images_of(data):
    """The images of a stream; thumbnails inside of segments are none of them."""
    images = []
    begin = data.find(b"\xff\xd8\xff")
    while begin >= 0:
        scan = next(at for marker, at, _ in segments(data[begin:]) if marker == SOS) + begin
        end = data.index(b"\xff\xd9", scan) + 2
        images.append(data[begin:end])
        begin = data.find(b"\xff\xd8\xff", end)
    return images


def without(image, *markers):
    kept = [image[begin:end] for marker, begin, end in segments(image) if marker not in markers]
    return image[:2] + b"".join(kept)


def with_segment(image, added):
    """Put in after SOI."""
    return image[:2] + added + image[2:]


def avi(frames, width, height, rate, after_header=b"", stream_chunks=b""):
    """An AVI file of Motion-JPEG with an index. `after_header` comes after the bitmap header."""
    def chunk(name, body):
        return name + struct.pack("<I", len(body)) + body + bytes(len(body) % 2)

    def members(name, *chunks):
        return chunk(b"LIST", name + b"".join(chunks))

    largest = max(map(len, frames))
    main = struct.pack("<14I", rate.denominator * 10**6 // rate.numerator, 0, 0, 0x10, len(frames),
                       0, 1, largest, width, height, 0, 0, 0, 0)
    stream = b"vidsMJPG" + struct.pack("<10I4H", 0, 0, 0, rate.denominator, rate.numerator, 0,
                                       len(frames), largest, 0xFFFFFFFF, 0, 0, 0, width, height)
    bitmap = struct.pack("<IiiHH4s5I", 40 + len(after_header), width, height, 1, 24, b"MJPG",
                         width * height * 3, 0, 0, 0, 0) + after_header
    header = members(b"hdrl", chunk(b"avih", main), members(
        b"strl", chunk(b"strh", stream), chunk(b"strf", bitmap), stream_chunks))
    index, at = b"", 4
    for frame in frames:
        index += b"00dc" + struct.pack("<III", 0x10, at, len(frame))
        at += 8 + len(frame) + len(frame) % 2
    movie = members(b"movi", *(chunk(b"00dc", frame) for frame in frames))
    return chunk(b"RIFF", b"AVI " + header + movie + chunk(b"idx1", index))


def extended_header(first_image_even):
    """What the extended header of Motion-JPEG in AVI has after a BITMAPINFOHEADER; byte 12 of it is
    what FFmpeg takes for the polarity."""
    return struct.pack("<7I", 44, 24, 0, 2 if first_image_even else 1, 8, 2, 1)


def avi_chunks(data):
    """Where the video chunks of an AVI file have their bytes; empty ones are included."""
    at = data.index(b"movi") + 4
    while data[at:at + 2].isdigit() or data[at:at + 2] == b"ix":
        size = struct.unpack("<I", data[at + 4:at + 8])[0]
        if data[at + 2:at + 4] in (b"dc", b"db"):
            yield at + 8, at + 8 + size
        at += 8 + size + size % 2


def avi_frames(data):
    return [data[begin:end] for begin, end in avi_chunks(data)]
