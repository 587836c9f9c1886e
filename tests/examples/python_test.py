"""The Python module against NumPy's own convolution."""

import os
import tempfile
import unittest
import wave

import numpy as np

import ulmar


class Python(unittest.TestCase):
    def setUp(self):
        random = np.random.default_rng(1)
        self.dry = 0.1 * random.standard_normal((5000, 2))
        self.hall = 0.02 * random.standard_normal((3000, 2))

    def test_renders_the_convolution(self):
        wet = ulmar.render(40 * self.dry, self.hall, dry=0.5, block_len=128)
        self.assertEqual(wet.shape, (5000 + 3000 - 1, 2))
        for k in range(2):
            expected = np.convolve(40 * self.dry[:, k], self.hall[:, k])
            expected[:5000] += 20 * self.dry[:, k]
            np.testing.assert_allclose(wet[:, k], expected, atol=1e-4)
        mono = ulmar.render(self.dry[:, 0], self.hall[:, 0])
        np.testing.assert_allclose(mono[:, 0], np.convolve(self.dry[:, 0], self.hall[:, 0]),
                                   atol=1e-5)

    def test_streams_in_any_blocks_and_fades_to_another_response(self):
        whole = ulmar.Stream(self.hall).process(self.dry)
        stream = ulmar.Stream(self.hall)
        parts = [stream.process(self.dry[k:k + 700]) for k in range(0, 5000, 700)]
        np.testing.assert_array_equal(np.concatenate(parts), whole)
        stream.replace(-self.hall)
        for _ in range(4):
            out = stream.process(self.dry)
        old = ulmar.Stream(self.hall)
        for _ in range(4):
            expected = old.process(self.dry)
        np.testing.assert_allclose(out, -expected, atol=1e-5)

    def test_reads_a_response_and_keeps_its_filter_at_another_rate(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "hall.wav")
            steps = np.round(32768 * self.hall).astype("<i2")
            steps[:200] = steps[-200:] = 0
            with wave.open(path, "wb") as file:
                file.setparams((2, 2, 44100, 0, "NONE", ""))
                file.writeframes(steps.tobytes())
            np.testing.assert_array_equal(ulmar.read_response(path), steps / 32768)
            hall = ulmar.read_response(path, 48000)
            for frequency in (50, 1000, 15000):
                gains = [abs(np.exp(-2j * np.pi * frequency / rate * np.arange(len(signal)))
                             @ signal) for signal, rate in ((steps / 32768, 44100), (hall, 48000))]
                np.testing.assert_allclose(gains[1], gains[0], rtol=1e-4)
            with self.assertRaisesRegex(ulmar.Error, "none.wav"):
                ulmar.read_response(os.path.join(folder, "none.wav"))

    def test_raises_with_the_library_s_sentence(self):
        for call, part in ((lambda: ulmar.Stream(self.hall, inputs=3), "3 inputs"),
                           (lambda: ulmar.Stream(self.hall[:0]), "0 frames"),
                           (lambda: ulmar.Stream(self.hall, block_len=100), "100"),
                           (lambda: ulmar.Stream(self.hall).process(self.dry[:, 0]), "1 channels"),
                           (lambda: ulmar.Stream(self.hall).set_gains(float("nan")), "nan")):
            with self.assertRaisesRegex(ulmar.Error, part):
                call()


if __name__ == "__main__":
    unittest.main()
