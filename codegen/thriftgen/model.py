"""The model of a contract: what the parser builds and the emitters read.

Types are resolved while parsing: a TypeRef of kind "enum" or "struct"
points at its declaration, so emitters never look names up again.
"""

from dataclasses import dataclass, field
from typing import List, Optional, Union

BASE_TYPES = ("bool", "i32", "double", "string")

# Wire type names of the runtime, by TypeRef kind.
WIRE_TYPES = {
    "bool": "T_BOOL",
    "i32": "T_I32",
    "double": "T_DOUBLE",
    "string": "T_STRING",
    "enum": "T_I32",
    "struct": "T_STRUCT",
    "list": "T_LIST",
}

REQUIRED = "required"
OPTIONAL = "optional"
DEFAULT = "default"


@dataclass(frozen=True)
class TypeRef:
    """A declared type: a base type, an enumeration, a record, a list or void."""

    kind: str  # "void", "bool", "i32", "double", "string", "enum", "struct", "list"
    decl: Optional[Union["Enum", "Struct"]] = None  # for "enum" and "struct"
    elem: Optional["TypeRef"] = None  # for "list"

    @property
    def name(self) -> str:
        """The type as the contract spells it: i32, eCategory, list<stDTC>."""
        if self.kind == "list":
            return "list<%s>" % self.elem.name
        if self.decl is not None:
            return self.decl.name
        return self.kind

    @property
    def wire_type(self) -> str:
        return WIRE_TYPES[self.kind]

    @property
    def is_void(self) -> bool:
        return self.kind == "void"

    @property
    def is_scalar(self) -> bool:
        """Passed by value: bool, i32, double and enumerations."""
        return self.kind in ("bool", "i32", "double", "enum")


@dataclass
class EnumMember:
    name: str
    value: int
    line: int = 0


@dataclass
class Enum:
    name: str
    members: List[EnumMember]
    doc: str = ""
    line: int = 0


@dataclass
class Field:
    id: int
    name: str
    type: TypeRef
    req: str  # REQUIRED, OPTIONAL or DEFAULT
    doc: str = ""
    line: int = 0

    @property
    def has_isset(self) -> bool:
        """Optional and default fields carry a presence flag; required ones do not."""
        return self.req != REQUIRED


# Record kinds: a data record of the contract, or one of the four call envelopes.
RECORD = "record"
ARGS = "args"
PARGS = "pargs"
RESULT = "result"
PRESULT = "presult"


@dataclass
class Struct:
    name: str
    fields: List[Field]
    kind: str = RECORD
    doc: str = ""
    line: int = 0
    # Set by lowering for data records.
    fingerprint_material: str = ""
    fingerprint: str = ""  # 32 upper-case hex digits

    @property
    def isset_fields(self) -> List[Field]:
        return [f for f in self.fields if f.has_isset]

    @property
    def required_fields(self) -> List[Field]:
        return [f for f in self.fields if f.req == REQUIRED]

    @property
    def has_isset(self) -> bool:
        return bool(self.isset_fields)


@dataclass
class Envelopes:
    """The four records that carry one call: built by lowering."""

    args: Struct
    pargs: Struct
    result: Struct
    presult: Struct


@dataclass
class Function:
    name: str
    returns: TypeRef
    args: List[Field]
    doc: str = ""
    line: int = 0
    envelopes: Optional[Envelopes] = None  # set by lowering

    @property
    def result_form(self) -> str:
        """How a handler hands back the result: "none", "return" or "out"."""
        if self.returns.is_void:
            return "none"
        if self.returns.kind in ("bool", "i32"):
            return "return"
        return "out"


@dataclass
class Service:
    name: str
    functions: List[Function]
    doc: str = ""
    line: int = 0


@dataclass
class Program:
    """One parsed contract file."""

    path: str
    name: str  # the file's base name without extension: "yol"
    namespace: str  # the C++ namespace: "yol"
    enums: List[Enum] = field(default_factory=list)
    structs: List[Struct] = field(default_factory=list)
    services: List[Service] = field(default_factory=list)
