"""Lowering: fingerprint material and fingerprints of records, envelopes of calls."""

import os
import unittest

from thriftgen import lowering, model, parser

CONTRACT = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, os.pardir, "contract", "yol.thrift")


def lower(text):
    return lowering.lower(parser.parse_text("t.thrift", text))


def records(program):
    return {s.name: s for s in program.structs}


class FingerprintTest(unittest.TestCase):
    SOURCE = """
        namespace cpp t
        enum eKind { A = 0, B = 1 }
        struct stPair {
          1: required eKind kind,
          2: required bool on,
        }
        struct stMixed {
          4: list<eKind> kinds,
          2: double ratio,
          1: optional stPair pair,
          3: required list<string> names,
          5: optional list<double> ratios,
        }
        """

    @classmethod
    def setUpClass(cls):
        cls.contract = records(lowering.lower(parser.parse_file(CONTRACT)))
        cls.records = records(lower(cls.SOURCE))

    def test_all_required_record(self):
        # stFeatures: 1 enumeration required, 2 bool required.
        features = self.contract["stFeatures"]
        self.assertEqual(features.fingerprint_material, "{1:enum;2:bool;}")
        self.assertEqual(features.fingerprint, "7D4563655A5F82FED16B1F5CE7672F0F")

    def test_optional_list_of_a_nested_record(self):
        # stCANDevice: 1 and 2 required strings, 3 an optional list of stCANSignal
        # (four optional strings and an optional i32).
        device = self.contract["stCANDevice"]
        self.assertEqual(
            device.fingerprint_material,
            "{1:string;2:string;3:opt-list<{1:opt-string;2:opt-string;3:opt-string;4:opt-string;5:opt-i32;}>;}")
        self.assertEqual(device.fingerprint, "884134C60DB346F2D19BEBE56F60426D")

    def test_default_fields_have_no_prefix_and_nested_records_are_inlined_in_id_order(self):
        self.assertEqual(
            self.records["stMixed"].fingerprint_material,
            "{1:opt-{1:enum;2:bool;};2:double;3:list<string>;4:list<enum>;5:opt-list<double>;}")
        # Same shape as stFeatures, so the same fingerprint whatever the names.
        self.assertEqual(self.records["stPair"].fingerprint, "7D4563655A5F82FED16B1F5CE7672F0F")

    def test_every_record_has_32_upper_case_hex_digits(self):
        for name, record in self.contract.items():
            with self.subTest(name):
                self.assertRegex(record.fingerprint, r"^[0-9A-F]{32}$")


class EnvelopeTest(unittest.TestCase):
    SOURCE = """
        namespace cpp t
        enum eKind { A = 1 }
        struct stThing { 1: required i32 x }
        service Svc {
          void ping(),
          list<stThing> find(1: string name, 3: eKind kind, 2: list<stThing> near),
          bool check(),
        }
        """

    @classmethod
    def setUpClass(cls):
        cls.program = lower(cls.SOURCE)
        cls.calls = {f.name: f for f in cls.program.services[0].functions}

    def envelope_list(self, fn):
        e = fn.envelopes
        return [e.args, e.pargs, e.result, e.presult]

    def test_four_envelopes_per_call_named_after_service_and_call(self):
        for fn in self.calls.values():
            with self.subTest(fn.name):
                self.assertEqual(
                    [(s.name, s.kind) for s in self.envelope_list(fn)],
                    [("Svc_%s_args" % fn.name, model.ARGS), ("Svc_%s_pargs" % fn.name, model.PARGS),
                     ("Svc_%s_result" % fn.name, model.RESULT), ("Svc_%s_presult" % fn.name, model.PRESULT)])

    def test_arguments_keep_ids_names_and_types_with_default_requiredness(self):
        e = self.calls["find"].envelopes
        expected = [(1, "name", "string", model.DEFAULT), (2, "near", "list<stThing>", model.DEFAULT),
                    (3, "kind", "eKind", model.DEFAULT)]
        for envelope in (e.args, e.pargs):
            with self.subTest(envelope.name):
                self.assertEqual([(f.id, f.name, f.type.name, f.req) for f in envelope.fields], expected)
                self.assertEqual([f.name for f in envelope.isset_fields], ["name", "near", "kind"])
        self.assertIs(e.args.fields[1].type.elem.decl, records(self.program)["stThing"])

    def test_result_is_optional_field_0_success(self):
        for name, type_name in (("find", "list<stThing>"), ("check", "bool")):
            e = self.calls[name].envelopes
            for envelope in (e.result, e.presult):
                with self.subTest(envelope.name):
                    self.assertEqual([(f.id, f.name, f.type.name, f.req) for f in envelope.fields],
                                     [(0, "success", type_name, model.OPTIONAL)])

    def test_void_call_has_empty_envelopes(self):
        for envelope in self.envelope_list(self.calls["ping"]):
            with self.subTest(envelope.name):
                self.assertEqual(envelope.fields, [])
                self.assertFalse(envelope.has_isset)

    def test_envelopes_are_not_data_records_and_have_no_fingerprint(self):
        self.assertEqual([s.name for s in self.program.structs], ["stThing"])
        for fn in self.calls.values():
            for envelope in self.envelope_list(fn):
                self.assertEqual((envelope.fingerprint, envelope.fingerprint_material), ("", ""), envelope.name)


class ContractTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.program = lowering.lower(parser.parse_file(CONTRACT))

    def test_counts(self):
        self.assertEqual(self.program.namespace, "yol")
        self.assertEqual(len(self.program.enums), 23)
        self.assertEqual(len(self.program.structs), 51)
        self.assertEqual([s.name for s in self.program.services], ["Yol"])
        self.assertEqual(len(self.program.services[0].functions), 75)

    def test_call_order(self):
        names = [f.name for f in self.program.services[0].functions]
        self.assertEqual(names[:4], ["ping", "status", "SendMsg", "SendMsgRaw"])
        self.assertEqual(names[-2:], ["JOB_GetResources", "JOB_SetMutableData"])
        self.assertEqual([f.name for f in self.program.services[0].functions if f.returns.is_void], ["ping"])

    def test_status_envelopes(self):
        status = self.program.services[0].functions[1]
        e = status.envelopes
        self.assertEqual([(f.id, f.name, f.type.name, f.req) for f in e.args.fields],
                         [(1, "id", "i32", model.DEFAULT)])
        self.assertEqual(e.result.name, "Yol_status_result")
        self.assertEqual([(f.id, f.name, f.type.name, f.req) for f in e.result.fields],
                         [(0, "success", "i32", model.OPTIONAL)])


if __name__ == "__main__":
    unittest.main()
