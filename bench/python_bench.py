"""What a call costs beside the library's own, and how two threads share the work.

usage: PYTHONPATH=WHERE-IT-IS-INSTALLED python3 bench/python_bench.py
"""

import multiprocessing
import queue
import statistics
import threading
import time

import numpy as np

import tkmjpg
from tkmjpg import _library as lib


def microseconds(call, calls=5000):
    """Processor time, which other programs change less than the clock."""
    rounds = []
    for _ in range(7):
        begin = time.process_time()
        for _ in range(calls):
            call()
        rounds.append((time.process_time() - begin) / calls * 1e6)
    return statistics.median(rounds)


def overheads():
    frame = np.zeros((16, 16, 2), np.uint8)
    encoder, decoder = tkmjpg.Encoder(), tkmjpg.Decoder(layout="YUY2")
    stream, out, carry = encoder.encode(frame), frame.copy(), lib.CarryState()
    data, room = np.frombuffer(stream, np.uint8), np.empty(4096, np.uint8)
    yuy2 = tkmjpg.LAYOUTS["YUY2"].code
    encoding = (frame.ctypes.data, 32, room.ctypes.data, 4096, 16, 16, 75, 1, yuy2, 0, carry)
    decoding = (data.ctypes.data, data.size, out.ctypes.data, 32, 16, 16, 0, yuy2, 0, carry)
    compress = microseconds(lambda: lib.compress(*encoding))
    decompress = microseconds(lambda: lib.decompress(*decoding))
    yield "Encoder.encode", microseconds(lambda: encoder.encode(frame)) - compress
    yield "encode", microseconds(lambda: tkmjpg.encode(frame)) - compress
    yield "Decoder.decode", microseconds(lambda: decoder.decode(stream, out)) - decompress
    yield "decode", microseconds(lambda: tkmjpg.decode(stream, layout="YUY2")) - decompress


def count_frames(step, seconds, done):
    step()
    frames, end = 0, time.perf_counter() + seconds
    while time.perf_counter() < end:
        step()
        frames += 1
    done.put(frames)


def frames_a_second(work, worker, done, workers, seconds=1.0):
    """`work` makes the function that codes one frame, for each worker: a thread or a process."""
    running = [
        worker(target=lambda: count_frames(work(), seconds, done)) for _ in range(workers)
    ]
    for one in running:
        one.start()
    frames = sum(done.get() for _ in running)
    for one in running:
        one.join()
    return frames / seconds


def compare_workers(name, work):
    """In turns, so that what else the machine does meets all of them."""
    threads = threading.Thread, queue.SimpleQueue()
    processes = multiprocessing.get_context("fork").Process, multiprocessing.SimpleQueue()
    rounds = [
        (
            frames_a_second(work, *threads, 1),
            frames_a_second(work, *threads, 2),
            frames_a_second(work, *processes, 2),
        )
        for _ in range(7)
    ]
    one, two, forked = (statistics.median(column) for column in zip(*rounds))
    print(
        f"{name} 1920 x 1080 BGR: {one:.0f} frames a second; two threads {two / one:.2f} times, "
        f"two processes {forked / one:.2f} times"
    )


def main():
    for name, value in overheads():
        print(f"{name:16} {value:5.1f} us above the library's own call")
    y, x = np.mgrid[0:1080, 0:1920]
    noise = np.random.default_rng(1).normal(0, 5, x.shape)
    plane = 128 + 50 * np.sin(x / 9) * np.cos(y / 7) + noise
    frame = np.stack([plane, plane, plane], axis=2).clip(0, 255).astype(np.uint8)
    stream = tkmjpg.encode(frame)

    def encoding():
        encoder = tkmjpg.Encoder()
        return lambda: encoder.encode(frame)

    def decoding():
        decoder, out = tkmjpg.Decoder(), np.empty_like(frame)
        return lambda: decoder.decode(stream, out)

    compare_workers("encode", encoding)
    compare_workers("decode", decoding)


if __name__ == "__main__":
    main()
