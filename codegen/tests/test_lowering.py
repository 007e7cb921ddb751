"""Lowering: the records' fingerprints, against those published with the contract.
The golden output pins them only as today's generator computes them; these
hold the material's rules (ids ascending, 'opt-' for optional fields only,
nested records inlined, every field type) to the published values."""

import os
import unittest

from thriftgen import lowering, parser

CONTRACT = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, os.pardir, "contract", "yol.thrift")

PUBLISHED = {
    "stFeatures": "7D4563655A5F82FED16B1F5CE7672F0F",  # required enum and bool
    "stCANDevice": "884134C60DB346F2D19BEBE56F60426D",  # optional list of a nested record
    "ServiceDiscoveryResult": "25525FB03B312605EE7350B4D8398DA0",  # default fields, nested
    "stGPSInfo": "C181FF35E440470C442057648BE639D7",  # double
}


class FingerprintTest(unittest.TestCase):
    def test_published_fingerprints(self):
        records = {s.name: s for s in lowering.lower(parser.parse_file(CONTRACT)).structs}
        for name, fingerprint in PUBLISHED.items():
            with self.subTest(name):
                self.assertEqual(records[name].fingerprint, fingerprint, records[name].fingerprint_material)


if __name__ == "__main__":
    unittest.main()
