/**
 * A small contract that uses every construct the generator supports.
 * Its generated output is kept under expected/ and compared by
 * test_golden.py; regenerate.py rewrites it after an intended change.
 */

namespace cpp feature

/** A mode, with a gap between 1 and 5 and a negative value. */
enum eMode {
  OFF = 0,
  ON = 1,
  AUTO = 5,
  UNKNOWN = -1,
}

// A second enumeration that reuses a member name of the first.
enum eLevel {
  LOW = 1;
  ON = 2;
  HIGH = 3
}

/** A point: every field required, so there are no presence flags. */
struct stPoint {
  1: required double x,
  2: required double y,
}

/**
 * Every field type in every requiredness.
 * Ids have gaps and are not declared in order.
 */
struct stEverything {
  /** A flag that must be there. */
  1: required bool flagReq,
  2: optional bool flagOpt,
  3: bool flagDef,
  4: required i32 countReq,
  5: optional i32 countOpt,
  6: i32 countDef,
  7: required double ratioReq,
  8: optional double ratioOpt,
  9: double ratioDef,
  10: required string textReq,
  11: optional string textOpt,
  12: string textDef,
  13: required eMode modeReq,
  14: optional eMode modeOpt,
  15: eMode modeDef,
  16: required stPoint pointReq,
  17: optional stPoint pointOpt,
  18: stPoint pointDef,
  19: required list<string> textsReq,
  20: optional list<string> textsOpt,
  21: list<string> textsDef,
  22: required list<i32> countsReq,
  23: optional list<i32> countsOpt,
  24: list<i32> countsDef,
  25: required list<eMode> modesReq,
  26: optional list<eMode> modesOpt,
  27: list<eMode> modesDef,
  28: required list<stPoint> pointsReq,
  29: optional list<stPoint> pointsOpt,
  30: list<stPoint> pointsDef,
  40: optional eLevel level,
  35: optional string afterGap,
}

/** Only optional fields, one of them a record that nests another. */
struct stOptionals {
  1: optional stEverything everything,
  2: optional list<stEverything> many,
  3: optional i32 count,
}

/** Only default fields. */
struct stDefaults {
  1: eLevel level,
  2: list<string> names,
}

/** The service: one call per result kind, arguments of every kind. */
service Feature {
  /** Nothing in, nothing out. */
  void ping(),
  bool isReady(1: bool flag),
  i32 count(1: i32 n, 2: double ratio, 3: eMode mode, 4: eLevel level),
  string describe(1: string text, 2: stPoint point),
  stPoint locate(1: list<stPoint> path, 2: list<string> names, 3: list<i32> ids, 4: list<eMode> modes),
  list<string> names(),
  list<stEverything> find(1: stOptionals filter, 2: i32 limit, 3: string after)
  void store(1: stEverything item)
}
