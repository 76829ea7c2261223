"""What the soak run's verdict calls growth."""

import unittest
import xml.dom.minidom

import drawing
import samples

MB = 1 << 20


def run(memory=lambda _: 9 * MB, descriptors=lambda _: 18, threads=lambda _: 5, count=200):
    return [samples.Sample(second, memory(second), descriptors(second), threads(second), 0.0, second, 0) for second in range(count)]


class Verdict(unittest.TestCase):
    def test_growth(self):
        for what, sampled, due in (
                ("level", run(), []),
                ("the warm-up", run(memory=lambda s: 9 * MB if s > 30 else MB), []),
                ("peaks", run(memory=lambda s: 9 * MB + (s % 7 == 0) * 50 * MB, threads=lambda s: 5 + s % 3 * s), []),
                ("a slow leak", run(memory=lambda s: (9 + s // 25) * MB), ["memory grew"]),
                ("a descriptor now and then", run(descriptors=lambda s: 18 + s // 60), ["descriptors grew"]),
                ("threads", run(threads=lambda s: 5 + s // 60), ["threads grew"]),
                ("a short run", run(count=8), ["too few samples"]),
                ("none at all", [], ["nothing has been sampled"])):
            with self.subTest(what):
                found = samples.growth(sampled)
                self.assertEqual([any(text.startswith(start) for text in found) for start in due], [True] * len(due), found)
                self.assertEqual(len(found), len(due), found)

    def test_the_picture_is_xml(self):
        picture = xml.dom.minidom.parseString(drawing.draw(run(), [(5, "reload"), (9, "something else")]))
        self.assertEqual(len(picture.getElementsByTagName("polyline")), 4)


if __name__ == "__main__":
    unittest.main()
