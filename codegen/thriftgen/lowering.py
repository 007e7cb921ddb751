"""Lowering: what the emitters need that the parser does not say outright.

- Every call's arguments and result become four envelope records
  (`<Service>_<call>_args`, `_pargs`, `_result`, `_presult`) before any
  emission, so that one record emitter serves data records and envelopes.
- Every data record gets its fingerprint material and MD5 fingerprint.
"""

import dataclasses
import hashlib

from . import model


def type_material(t: model.TypeRef) -> str:
    if t.kind in model.BASE_TYPES:
        return t.kind
    if t.kind == "enum":
        return "enum"
    if t.kind == "list":
        return "list<%s>" % type_material(t.elem)
    if t.kind == "struct":
        return record_material(t.decl)
    raise ValueError("no fingerprint material for type %s" % t.name)


def record_material(struct: model.Struct) -> str:
    """{1:enum;2:bool;} -- ids ascending, 'opt-' for optional fields, nested records inlined."""
    parts = ["{"]
    for f in sorted(struct.fields, key=lambda f: f.id):
        parts.append("%d:%s%s;" % (f.id, "opt-" if f.req == model.OPTIONAL else "", type_material(f.type)))
    parts.append("}")
    return "".join(parts)


def fingerprint(material: str) -> str:
    return hashlib.md5(material.encode("ascii")).hexdigest().upper()


def envelopes(service: model.Service, fn: model.Function) -> model.Envelopes:
    prefix = "%s_%s" % (service.name, fn.name)

    def arg_fields():
        # Arguments are always of default requiredness, whatever the call says.
        return [dataclasses.replace(a, req=model.DEFAULT) for a in fn.args]

    def result_fields():
        if fn.returns.is_void:
            return []
        return [model.Field(0, "success", fn.returns, model.OPTIONAL, line=fn.line)]

    return model.Envelopes(
        args=model.Struct(prefix + "_args", arg_fields(), kind=model.ARGS, line=fn.line),
        pargs=model.Struct(prefix + "_pargs", arg_fields(), kind=model.PARGS, line=fn.line),
        result=model.Struct(prefix + "_result", result_fields(), kind=model.RESULT, line=fn.line),
        presult=model.Struct(prefix + "_presult", result_fields(), kind=model.PRESULT, line=fn.line),
    )


def lower(program: model.Program) -> model.Program:
    for struct in program.structs:
        struct.fingerprint_material = record_material(struct)
        struct.fingerprint = fingerprint(struct.fingerprint_material)
    for service in program.services:
        for fn in service.functions:
            fn.envelopes = envelopes(service, fn)
    return program
