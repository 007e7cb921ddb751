"""Emits service/<Service>.{h,cpp}. (Being written: placeholder output.)"""


def emit(program):
    out = {}
    for service in program.services:
        out["service/%s.h" % service.name] = "#pragma once\n#include <thriftyol/types/%s_types.h>\n" % program.name
        out["service/%s.cpp" % service.name] = "#include <thriftyol/service/%s.h>\n" % service.name
    return out
