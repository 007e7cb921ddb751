/**
 * The golden contract: every construct of contract/yol.thrift, in as few
 * declarations as reach every branch of the generator that the real
 * contract reaches (names are long where a long name makes a line fold).
 * test_golden.py pins the generator's whole output for it.
 */

namespace cpp feature

/** Members with a gap after ON, a negative one, and enough to wrap. */
enum eMode {
  FAILED = -1,
  OFF = 0,
  ON = 1,
  STANDBY_FOR_THE_OPERATOR = 5,
  REMOTE_CONTROLLED = 6,
}

/** A name long enough that its name tables fold; ON is also in eMode. */
enum eCellularRegistrationStateKind {
  ON = 2,
}

/** Every field required: no presence flags, and a read checks each one. */
struct stFix {
  1: required bool valid,
  2: required i32 satellites,
  3: required double latitude,
  4: required string source,
  5: required eMode mode,
}

/** A required record, and default fields: flags, but no check on read. */
struct stTag {
  1: required stFix fix,
  2: eMode mode,
  3: string name,
  4: list<string> urls,
}

/** Only optional fields, of every kind; a gap before id 10. */
struct stRemoteSupportViewerLog {
  1: optional bool isActive,
  2: optional i32 viewerCount,
  3: optional double signalQuality,
  4: optional string description,
  5: optional eMode mode,
  6: optional stTag tag,
  10: optional list<stFix> registrationStateHistory,
}

/** One call per result form; arguments by value and by const reference. */
service Feature {
  /** Nothing in, nothing out. */
  void ping(),
  i32 send(1: eMode mode, 2: i32 count, 3: list<eMode> modes, 4: list<string> keys),
  bool isReady(),
  /** The calls that hand their result back through an out-parameter. */
  string describe(1: string text),
  stFix locate(1: stFix fix),
  list<string> names(),
  list<stRemoteSupportViewerLog> getRemoteSupportViewerLogs(1: list<stRemoteSupportViewerLog> logs),
}
