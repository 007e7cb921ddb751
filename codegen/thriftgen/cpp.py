"""How model types and names are spelled in the generated C++."""

from . import model

PROTOCOL = "::apache::thrift::protocol::TProtocol"

_BASE = {
    "bool": "bool",
    "i32": "int32_t",
    "double": "double",
    "string": "std::string",
    "void": "void",
}

_IO = {
    # kind -> (write call, read call)
    "bool": ("writeBool", "readBool"),
    "i32": ("writeI32", "readI32"),
    "double": ("writeDouble", "readDouble"),
    "string": ("writeString", "readString"),
    "enum": ("writeI32", "readI32"),
}


def type_name(t: model.TypeRef) -> str:
    """The member type: int32_t, std::string, eCategory::type, std::vector<stDTC>."""
    if t.kind in _BASE:
        return _BASE[t.kind]
    if t.kind == "enum":
        return "%s::type" % t.decl.name
    if t.kind == "struct":
        return t.decl.name
    if t.kind == "list":
        return "std::vector<%s>" % type_name(t.elem)
    raise ValueError("no C++ type for %s" % t.name)


def param_type(t: model.TypeRef) -> str:
    """An argument: scalars and enumerations by value, the rest by constant reference."""
    if t.is_scalar:
        return type_name(t)
    return "const %s&" % type_name(t)


def wire_type(t: model.TypeRef) -> str:
    return "::apache::thrift::protocol::" + t.wire_type


def write_call(t: model.TypeRef) -> str:
    return _IO[t.kind][0]


def read_call(t: model.TypeRef) -> str:
    return _IO[t.kind][1]


def enum_values_array(enum: model.Enum) -> str:
    return "_k%sValues" % enum.name


def enum_names_array(enum: model.Enum) -> str:
    return "_k%sNames" % enum.name


def enum_names_map(enum: model.Enum) -> str:
    return "_%s_VALUES_TO_NAMES" % enum.name


def isset_struct(struct: model.Struct) -> str:
    return "_%s__isset" % struct.name


def comment_block(doc: str, prefix: str = "") -> str:
    """A doc text as // lines, or nothing."""
    if not doc:
        return ""
    return "".join("%s//%s\n" % (prefix, (" " + line) if line else "") for line in doc.splitlines())
