"""Ulmar from Python: one file to copy, over the C interfaces of libulmar-host and, for
responses from audio files, libulmar-audio.

    import ulmar
    hall = ulmar.read_response("hall.wav", 48000)
    wet = ulmar.render(dry, hall)              # arrays of [frames] or [frames, channels]

    stream = ulmar.Stream(hall, inputs=2, block_len=256)
    stream.set_gains(dry=0.5, wet=1.0)
    out = stream.process(block)                # block by block, of any length
"""

import ctypes
import os

import numpy as np

STEREO, FUMA, AMBIX, FEEDS = range(4)
_FLOATS = ctypes.POINTER(ctypes.c_float)


class _Options(ctypes.Structure):
    _fields_ = [("struct_size", ctypes.c_uint32)] + [
        (name, ctypes.c_int32)
        for name in ("block_len", "tail", "low_cost", "layout", "dry_delay", "rear_delay")
    ] + [("crossover", ctypes.c_float), ("sample_rate", ctypes.c_float),
         ("fade_len", ctypes.c_int32)]


class Error(ValueError):
    """What the library refuses, in its own words."""


def _load():
    path = os.environ.get("ULMAR_HOST_LIBRARY") or "libulmar-host.so.1"
    library = ctypes.CDLL(path)
    library.ulmar_error.restype = ctypes.c_char_p
    library.ulmar_version.restype = ctypes.c_char_p
    for name in ("set_dry", "set_wet", "set_crossfeed"):
        getattr(library, "ulmar_stream_" + name).argtypes = [ctypes.c_void_p, ctypes.c_float]
    library.ulmar_stream_destroy.argtypes = [ctypes.c_void_p]
    return library


_library = _load()


def _check(code):
    if code != 0:
        raise Error(_library.ulmar_error().decode())


def read_response(path, sample_rate=0, layout=STEREO):
    """An impulse response [frames, channels] from an audio file of any format, resampled to
    the stream's rate in Hz (0: the file's). Of a file that is cut short, what is there."""
    audio = ctypes.CDLL(os.environ.get("ULMAR_AUDIO_LIBRARY") or "libulmar-audio.so.1")
    audio.ulmar_audio_error.restype = ctypes.c_char_p
    audio.ulmar_response_samples.restype = ctypes.POINTER(_FLOATS)
    audio.ulmar_response_frames.restype = ctypes.POINTER(ctypes.c_int64)
    response = ctypes.c_void_p()
    if audio.ulmar_response_read(os.fsencode(path), int(sample_rate), layout,
                                 ctypes.byref(response)) != 0:
        raise Error(audio.ulmar_audio_error().decode())
    try:
        samples = audio.ulmar_response_samples(response)
        frames = audio.ulmar_response_frames(response)
        return np.stack([np.ctypeslib.as_array(samples[k], (frames[k],))
                         for k in range(audio.ulmar_response_channels(response))], axis=1)
    finally:
        audio.ulmar_response_destroy(response)


def _channels(samples):
    """[frames] or [frames, channels] as [channels, frames] of 32-bit floats."""
    array = np.asarray(samples, dtype=np.float32)
    if array.ndim not in (1, 2):
        raise Error(f"samples have {array.ndim} dimensions, and 1 or 2 can be")
    return np.ascontiguousarray(np.atleast_2d(array.T))


# Addresses into an array that the caller keeps.
def _pointers(channels):
    return (_FLOATS * len(channels))(*(row.ctypes.data_as(_FLOATS) for row in channels))


def _response(channels):
    frames = (ctypes.c_int64 * len(channels))(*([channels.shape[1]] * len(channels)))
    return _pointers(channels), len(channels), frames


class Stream:
    """A stream for `inputs` channels through a response of [frames, channels]. Options
    are the fields of UlmarOptions."""

    def __init__(self, response, inputs=2, **options):
        self._stream = ctypes.c_void_p()
        record = _Options(struct_size=ctypes.sizeof(_Options), **options)
        channels = _channels(response)
        _check(_library.ulmar_stream_create(inputs, *_response(channels), ctypes.byref(record),
                                            ctypes.byref(self._stream)))
        self.inputs = inputs
        self.outputs = _library.ulmar_stream_outputs(self._stream)
        self.latency = _library.ulmar_stream_latency(self._stream)

    def __del__(self):
        _library.ulmar_stream_destroy(self._stream)

    def set_gains(self, dry=0.0, wet=1.0):
        """Linear."""
        _check(_library.ulmar_stream_set_dry(self._stream, dry))
        _check(_library.ulmar_stream_set_wet(self._stream, wet))

    def replace(self, response):
        """Fades to another response while the stream plays."""
        channels = _channels(response)
        _check(_library.ulmar_stream_replace(self._stream, *_response(channels)))

    def reset(self):
        _check(_library.ulmar_stream_reset(self._stream))

    def process(self, samples):
        """[frames, inputs] to [frames, outputs]; `latency` frames late, limited to full scale."""
        channels = _channels(samples)
        if len(channels) != self.inputs:
            raise Error(f"there are {len(channels)} channels, and the stream takes {self.inputs}")
        out = np.empty((self.outputs, channels.shape[1]), dtype=np.float32)
        _check(_library.ulmar_stream_process(self._stream, _pointers(channels),
                                             _pointers(out), channels.shape[1]))
        return out.T


def render(samples, response, dry=0.0, wet=1.0, **options):
    """The whole of a signal with its tail, the latency taken off. What is louder than full
    scale, where a stream is limited, is kept: a power of two of gain is undone exactly."""
    scale = 2.0 ** -32
    channels = _channels(samples)
    stream = Stream(response, inputs=len(channels), dry_delay=options.get("block_len", 512),
                    **options)
    stream.set_gains(dry * scale, wet * scale)
    tail = len(response) - 1 + stream.latency
    padded = np.pad(channels, ((0, 0), (0, tail)))
    return stream.process(padded.T)[stream.latency:] / np.float32(scale)
