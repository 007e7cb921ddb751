/**
 * The Yol service contract between the field computer's applications and
 * the telematics gateway: every enumeration, record and call that crosses
 * the link, with exact names, field ids, types and requiredness.
 *
 * This file is the single source of truth for the generated C++ of
 * libthriftyol; edit the contract here, never in the generated code.
 */

namespace cpp yol

// ---------------------------------------------------------------------------
// Enumerations (declared in the order their name tables are built at load)
// ---------------------------------------------------------------------------

/** The category of a generic message. */
enum eCategory {
  MANAGEMENT = 0,
  FILETRANSFER = 1,
  FIELDCOMPUTER = 2,
  REMOTESUPPORT = 3,
  SYSTEM = 5,
  OTA = 6,
  TELEMATICS = 7,
  SSH = 8,
}

/** The telematics sub-category of a generic message. */
enum eTelematics {
  MODEM = 2,
  GPS = 3,
  SGC = 4,
  SYSTEM = 5,
}

/** The type tag of a key/value entry. */
enum eDataType {
  json_STRING = 0,
  json_INTEGER = 1,
  json_DOUBLE = 2,
}

/** The client's answer to a software update. */
enum eAckType {
  ACCEPT_DOWNLOAD = 0,
  ACCEPT_INSTALL = 1,
  CANCEL = 2,
  ACCEPT_NOTIFY = 3,
  ACCEPT_LIST = 4,
}

/** The mode in which a software update is started. */
enum eOTAType {
  NORMAL = 0,
  AUTO_DOWNLOAD = 1,
  AUTO_INSTALL = 2,
}

/** The states of a software update. */
enum eUpdateState {
  update_state_idle = 0,
  checking_for_updates = 1,
  new_update_list_avail = 2,
  get_update_metadata = 3,
  process_update_metadata = 4,
  download_available = 5,
  accepted_download = 6,
  downloading_usb = 7,
  downloading_mv = 8,
  install_available_usb = 9,
  install_available_ota = 10,
  accepted_install = 11,
  installing_update = 12,
  update_complete = 13,
  cancel_update = 14,
  postpone_update = 15,
  user_req_check = 16,
  update_failed = 17,
  mv_cancelled_update = 18,
  retry_download = 19,
  up_to_date = 20,
  requesting_install = 21,
  rebooting = 22,
}

/** The states of a remote-support session. */
enum eRemoteSupportState {
  NO_MODEM_CONNECTION = 0,
  NO_SUPPORT_VNC_STOPPED = 1,
  SUPPORT_REQUESTED = 2,
  SUPPORT_PENDING = 6,
  VIEWER_WAITING = 9,
  VIEWER_STOPPED = 12,
  VNC_DEVICE_STOPPED = 15,
  VNC_STARTING = 16,
  SUPPORT_ACTIVE = 18,
  STOPPING_SUPPORT = 19,
}

/** The kind of cellular device that serves the machine. */
enum eCellularDeviceTypes {
  NONE = 0,
  UNKNOWN = 1,
  INTERNAL = 2,
  CALDERWAY_DIRECT = 3,
  CALDERWAY_REMOTE = 4,
  TARNGATE_2_DIRECT = 5,
  TARNGATE_2_REMOTE = 6,
  TARNGATE_1_DIRECT = 7,
  TARNGATE_1_REMOTE = 8,
}

/** The operating state of the cellular modem. */
enum eCellularModemState {
  MODEM_STATE_FAILED = -1,
  MODEM_STATE_UNKNOWN = 0,
  MODEM_STATE_INITIALIZING = 1,
  MODEM_STATE_LOCKED = 2,
  MODEM_STATE_DISABLED = 3,
  MODEM_STATE_DISABLING = 4,
  MODEM_STATE_ENABLING = 5,
  MODEM_STATE_ENABLED = 6,
  MODEM_STATE_SEARCHING = 7,
  MODEM_STATE_REGISTERED = 8,
  MODEM_STATE_DISCONNECTING = 9,
  MODEM_STATE_CONNECTING = 10,
  MODEM_STATE_CONNECTED = 11,
}

/** The modem's registration with the mobile network. */
enum eCellularLTERegistrationState {
  MODEM_3GPP_REGISTRATION_STATE_IDLE = 0,
  MODEM_3GPP_REGISTRATION_STATE_HOME = 1,
  MODEM_3GPP_REGISTRATION_STATE_SEARCHING = 2,
  MODEM_3GPP_REGISTRATION_STATE_DENIED = 3,
  MODEM_3GPP_REGISTRATION_STATE_UNKNOWN = 4,
  MODEM_3GPP_REGISTRATION_STATE_ROAMING = 5,
  MODEM_3GPP_REGISTRATION_STATE_HOME_SMS_ONLY = 6,
  MODEM_3GPP_REGISTRATION_STATE_ROAMING_SMS_ONLY = 7,
  MODEM_3GPP_REGISTRATION_STATE_EMERGENCY_ONLY = 8,
  MODEM_3GPP_REGISTRATION_STATE_HOME_CSFB_NOT_PREFERRED = 9,
  MODEM_3GPP_REGISTRATION_STATE_ROAMING_CSFB_NOT_PREFERRED = 10,
}

/** The state of the SIM's subscription. */
enum eCellularSIMSubscriptionState {
  MODEM_3GPP_SUBSCRIPTION_STATE_UNKNOWN = 0,
  MODEM_3GPP_SUBSCRIPTION_STATE_UNPROVISIONED = 1,
  MODEM_3GPP_SUBSCRIPTION_STATE_PROVISIONED = 2,
  MODEM_3GPP_SUBSCRIPTION_STATE_OUT_OF_DATA = 3,
}

/** The states of a file transfer. */
enum eFTStateType {
  QUEUED = 0,
  STARTING = 1,
  ON_GOING = 2,
  COMPLETED = 3,
  VALIDATED = 4,
  FAILED_WITH_RETRY = 5,
  FAILED_NO_RETRY = 6,
  RSVD_TO_BRIDGE = 7,
  RSVD_FROM_BRIDGE = 8,
  CANCELLED = 9,
  FAILED_ON_FC = 10,
  PROCESSING = 11,
  REQUESTED = 12,
  ACCEPTED = 13,
}

/** The outcome with which a file transfer is acknowledged. */
enum eFTAckType {
  COMPLETE = 0,
  CANCEL = 1,
  ERROR = 2,
}

/** The error reported when acknowledging a file transfer. */
enum eFTErrorType {
  NONE = 0,
  UNKNOWN = 128,
  INCORRECT_PLATFORM_TYPE = 129,
  INVALID_ISO_FORMAT = 130,
  MISSING_FILE = 131,
  INVALID_CRC = 132,
  FAILED_DUPLICATE_UUID = 133,
  FAILED_RESOURCE_ERROR = 134,
}

/** The direction of a file transfer. */
enum eFTDirection {
  UPLOAD = 0,
  DOWNLOAD = 1,
}

/** The kind of content of a file. */
enum eFTType {
  UNKNOWN_FILE_TYPE = 0,
  JOB_DATA_PACKAGE = 1,
  COVERAGE_MAP = 2,
  GUIDANCE_LINE = 3,
  PRESCRIPTION_MAP = 4,
  SPRAY_ZONE = 5,
  BOUNDARIES = 6,
  WORK_ORDER = 7,
  UNUSED = 8,
  JOB_PROFILE = 9,
  PRODUCT_CONFIGURATION = 10,
  MACHINE_CONFIGURATION = 11,
  USER_PROFILE = 12,
  FIELD_COMPUTER_REPROGRAMMING = 13,
  GFF_FOLDER_STRUCTURE = 14,
  MERIVAULT_ARCHIVE = 15,
  SCOUNT_GROUP = 16,
  SCOUNT_FIELD_BOUNDARY = 17,
  SCOUT_SPRAY_ZONE = 18,
  SCOUT_NO_SPRAY_ZONE = 19,
  SCOUT_PLANT_ZONE = 20,
  SCOUT_NO_PLANT_ZONE = 21,
  SCOUT_POINTS = 22,
  SCOUT_LINE = 23,
  SCOUT_ZONE = 24,
  CAN_NODE_PROGRAM = 25,
  FEATURES = 26,
  LOG_FILE = 27,
  SCREEN_SHOT = 28,
  CORE_DUMP = 29,
  ISO_TASKDATA_XML = 30,
  STREET_MAP = 32,
  INTERNAL_SHAPE_FILES = 116,
  INTERNAL_IMAGE_FILES = 117,
  AGX_RDP = 118,
  INTERNAL_RAW_XML_FILES = 119,
  GRAINCART = 120,
  GRAINCART_REPORT = 121,
  FMIS_ARCHIVE = 122,
  AGX_REC_PSEUDOFILE = 123,
  AGX_RDP_XMLFILE = 124,
  AGX_RAD = 125,
  SCT_FLIP_ZONE = 126,
  WALLPAPER = 127,
  TEXT = 135,
  BLOB = 136,
  ENGINEERING = 137,
  CAN_MONITOR_FILTER = 138,
  UNLOCK = 139,
  WORK_ORDER_AS_APPLIED_DATA = 140,
  ECEF_GUIDANCE_LINE = 141,
  ECEF_SCOUTED_OBJECT = 142,
  CPRO_BACKUP = 143,
  CPRO_DIAGNOSTICS = 144,
  CLOUD_JOB_PACKAGE = 145,
}

/** How a file is tied to an item. */
enum eFTAssociationType {
  AT_ASSOCIATE = 0,
  AT_CREATE = 1,
}

/** The path by which an RTK correction source delivers its data. */
enum eRTKSourceType {
  UNKNOWN = 0,
  UDP = 1,
  SERIAL = 2,
  CAN = 3,
}

/** The features that the gateway can offer. */
enum eMGTFeature {
  MANAGEMENT = 0,
  FILETRANSFER = 1,
  RTK = 2,
  REMOTESUPPORT = 3,
  FLEETVIEW = 4,
  SYSTEM = 5,
  OTA = 6,
  TELEMATICS = 7,
  SSH = 8,
  INTERNETACCESS = 9,
  NET = 10,
  JOB = 11,
  REALTIMECANMONITOR = 256,
  WORKORDERS = 257,
  M2M = 258,
  BASESTATION = 259,
  VERBOSELOGGING = 260,
  AUTOCARTGUIDANCE = 261,
  KEPGUIDANCE = 262,
  AUTONOMOUSCOVERAGE = 263,
  VIRTUALTHUMBDRIVE = 264,
  SATELLITEMAPS = 265,
}

/** How the end-user agreement is accepted. */
enum eEULAAcceptType {
  PERMANENT = 0,
  TEMPORARY = 1,
}

/** The state of a machine's request to take part in a job. */
enum eJoinRequestState {
  IDLE = 0,
  REQUESTED = 1,
  ACCEPTED = 2,
  JOINED = 3,
  SERVER_ERROR_UNKNOWN = 4,
  LEAVE_REQUESTED = 5,
  LEFT = 6,
}

/** The kind of a job point. */
enum eJobPointType {
  UNKNOWN = 0,
  PROXIMITY = 1,
}

/** The kind of a service-discovery error. */
enum ServiceDiscoveryErrorStatus {
  NOT_CONNECTED = 0,
  INVALID_UUID = 1,
}

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

/** One available software update. */
struct stUpdateType {
  1: required i32 index,
  2: required string sType,
  3: required string sVersion,
}

/** The status of a software update. */
struct stUpdateStatus {
  1: required string state,
  2: required string session_id,
  3: optional i32 percent,
  4: optional i32 size,
  5: optional string error,
  6: optional string version,
  7: optional i32 state_enum,
  8: optional string feature_name,
}

/** One viewer of a remote-support session. */
struct stRemoteSupportViewers {
  1: required string sName,
}

/** The state of remote support and its connected viewers. */
struct stRemoteSupportStatus {
  1: required string session_id,
  2: required eRemoteSupportState state,
  3: optional string code,
  4: optional list<stRemoteSupportViewers> sViewers,
}

/** The description of the cellular modem. */
struct stCellularInfo {
  1: required string model,
  2: optional string modemid,
  3: optional string rssi,
  4: optional string firmware,
  5: optional string ip,
  6: optional bool roaming,
  7: optional string phone_number,
  8: optional string network_type,
  9: optional string apn,
  10: optional string sim_id,
  11: optional i32 age_of_data,
  12: optional i32 gps_mode,
  13: optional string current_bands,
  14: optional eCellularDeviceTypes device_type,
  15: optional eCellularModemState modem_state,
  16: optional string modem_error,
  17: optional eCellularLTERegistrationState modem_lte_registration_state,
  18: optional eCellularSIMSubscriptionState modem_sim_subscription_state,
}

/** What a file is to be associated with. */
struct stAssociation {
  1: optional string id,
  2: optional eFTAssociationType type,
}

/** A file offered, uploaded or copied. */
struct stFileInfo {
  1: required string id,
  2: optional string name,
  3: optional string path,
  4: optional string md5,
  5: optional i32 size,
  6: optional eFTType type,
  7: optional bool persistID,
  8: optional stAssociation association,
}

/** A file to be downloaded. */
struct stDownloadFileInfo {
  1: required string id,
  2: optional string name,
  3: optional eFTType type,
}

/** The status of one file transfer. */
struct stFileTransferStatus {
  1: required string fileUuid,
  2: optional i32 status,
  3: optional i32 error,
  4: optional i32 percentTransfered,
  5: optional string sessionId,
}

/** One device seen on a machine interface. */
struct stPeerDevice {
  1: required string type,
  2: optional string pn,
  3: optional string sn,
  4: optional string software_pn,
  5: optional string software_version,
  6: optional string hardware_version,
  7: optional string id,
  8: optional string addr,
  9: optional string ecuid,
  10: optional string swid,
}

/** One file-transfer session under way. */
struct stSessionInfo {
  1: required string sessionID,
  2: optional string fileID,
  3: optional eFTDirection direction,
  4: optional eFTType type,
  5: optional i32 status,
  6: optional string name,
}

/** One entry of the file-transfer history. */
struct stFileHistory {
  1: required i32 index,
  2: optional string id,
  3: optional string name,
  4: optional eFTDirection direction,
  5: optional eFTType type,
  6: optional i32 status,
  7: optional string date,
}

/** One diagnostic trouble code. */
struct stDTC {
  1: required i32 spn,
  2: required i32 fmi,
  3: required i32 oc,
  4: optional i32 count,
  5: optional string time,
  6: optional bool inactive,
}

/** One signal value read from a CAN device. */
struct stCANSignal {
  1: optional string spn,
  2: optional string value,
  3: optional string units,
  4: optional string time,
  5: optional i32 count,
}

/** The signals of one device on one CAN interface. */
struct stCANDevice {
  1: required string sInterface,
  2: required string sID,
  3: optional list<stCANSignal> stCANSignals,
}

/** One satellite position fix. */
struct stGPSInfo {
  1: optional double latitude,
  2: optional double longitude,
  3: optional double altitude,
  4: optional double velocity,
  5: optional double direction,
  6: optional double hdop,
  7: optional i32 satellites_used,
  8: optional i32 quality_mode,
  9: optional string time,
  10: optional i32 age_of_data,
  11: optional i32 satellites_visible,
  12: optional i32 quality_gga,
}

/** One RTK correction source. */
struct stRTKInfo {
  1: required string sName,
  2: optional eRTKSourceType eType,
  3: optional string sInterface,
  4: optional string time,
  5: optional bool active,
  6: optional bool locked,
  7: optional i32 priority,
  8: optional string sSourceName,
}

/** A summary of the modem for telematics reporting. */
struct stModemInfo {
  1: required string sModel,
  2: optional string sRSSI,
  3: optional i32 OperatorCode,
  4: optional string sRegState,
  5: optional string sNetwork,
  6: optional string sCurrentBands,
}

/** One gateway feature and whether it is switched on. */
struct stFeatures {
  1: required eMGTFeature feature,
  2: required bool enabled,
}

/** The certificates and keys of one provisioning type. */
struct stProvision {
  1: required string type,
  2: optional string cert,
  3: optional string priv,
  4: optional string url,
  5: optional string mc_trust,
  6: optional string mc_priv,
  7: optional string mc_cert,
}

/** One resource of a job. */
struct stJobResource {
  1: required string id,
  2: optional string name,
  3: optional eFTType type,
  4: optional i32 size,
}

/** A position with altitude. */
struct stJobLocation {
  1: optional double Latitude,
  2: optional double Longitude,
  3: optional double Altitude,
}

/** The network endpoint of a job session and the state of the join request. */
struct stJobEndpoint {
  1: required string sHost,
  2: required i32 Port,
  3: required i32 ParticipantId,
  4: optional string sAuthorization,
  5: optional eJoinRequestState eState,
}

/** A typed position belonging to a job. */
struct stJobPoint {
  1: required eJobPointType eType,
  2: optional double Latitude,
  3: optional double Longitude,
}

/** One shared job known to the gateway. */
struct stJobInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional list<stJobPoint> stPoints,
  4: optional stJobEndpoint stEndpoint,
  5: optional string sBoundary,
  6: optional i32 Priority,
}

/** One participant of a job. */
struct stJobParticipants {
  1: required i32 id,
  2: required string sName,
  3: optional string sStatus,
}

/** One machine working in a job, with its position and motion. */
struct stJobSystems {
  1: required string sName,
  2: required i32 ParticipantID,
  3: optional i32 Status,
  4: optional double Latitude,
  5: optional double Longitude,
  6: optional double Altitude,
  7: optional double Velocity,
  8: optional double Direction,
}

/** The status of one job: its participants and machines. */
struct stJobStatus {
  1: required string sGUID,
  2: optional list<stJobParticipants> stParticipants,
  3: optional list<stJobSystems> stSystems,
}

/** Contact and address data of a grower, farm or field. */
struct stJobUserInfo {
  1: optional string sAPIPartnerID,
  2: optional string sFirstName,
  3: optional string sMiddleName,
  4: optional string sLastName,
  5: optional string sPhoneNumber,
  6: optional string sMobileNumber,
  7: optional string sFaxNumber,
  8: optional string sEmail,
  9: optional string sAddress,
  10: optional string sAddress2,
  11: optional string sCity,
  12: optional string sCounty,
  13: optional string sRegion,
  14: optional string sPostalCode,
  15: optional string sCountry,
  16: optional string sComments,
}

/** One point of a field boundary ring. */
struct stJobBoundaryCoordinate {
  1: required double Latitude,
  2: required double Longitude,
}

/** The position of a flag in a field. */
struct stJobFlagCoordinate {
  1: required double Latitude,
  2: required double Longitude,
}

/** A flag (a marked point) in a field. */
struct stFlag {
  1: optional string sType,
  2: optional stJobFlagCoordinate stCoordinate,
}

/** One boundary of a field, as its outer ring. */
struct stJobFieldBoundary {
  1: optional string sType,
  2: optional list<stJobBoundaryCoordinate> stExterior,
}

/** The generic form of a job component: identifier and name. */
struct stJobComponentInfo {
  1: required string sGUID,
  2: optional string sName,
}

/** The grower for whom a job is done. */
struct stGrowerComponentInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional string sExternalID,
  4: optional stJobUserInfo stUserInfo,
}

/** The farm of a job. */
struct stFarmComponentInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional stJobUserInfo stUserInfo,
}

/** The field of a job, with its boundaries and flags. */
struct stFieldComponentInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional i32 Size,
  4: optional stJobUserInfo stUserInfo,
  5: optional list<stJobFieldBoundary> stBoundaries,
  6: optional list<stFlag> stFlags,
}

/** The boundary component of a job. */
struct stBoundaryComponentInfo {
  1: required string sGUID,
  2: optional string sName,
}

/** One ingredient of a product. */
struct stIngredientInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional i32 ddi,
  4: optional double quantity,
  5: optional string sUnits,
  6: optional string sAPIPartnerID,
}

/** The carrier of a product. */
struct stCarrierInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional double quantity,
  4: optional i32 agxId,
  5: optional string sAPIPartnerID,
}

/** A prescription map that gives a product's rate. */
struct stJobMapInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional string sColumn,
  4: optional double DefaultRate,
  5: optional double ConversionFactor,
}

/** One product of a job, with its rate, map, ingredients and carrier. */
struct stJobProductInfo {
  1: required string sGUID,
  2: optional string sName,
  3: optional i32 mixDdi,
  4: optional i32 productDdi,
  5: optional double quantity,
  6: optional string sUnits,
  7: optional double TargetRate,
  8: optional stJobMapInfo stRxMap,
  9: optional list<stIngredientInfo> stIngredients,
  10: optional stCarrierInfo stCarrier,
}

/** A job creation request with every component in the generic form. */
struct stJobCreate {
  1: required stJobComponentInfo stJob,
  2: optional stJobComponentInfo stGrower,
  3: optional stJobComponentInfo stFarm,
  4: optional stJobComponentInfo stField,
  5: optional stJobComponentInfo stBoundary,
  6: optional list<stJobProductInfo> stProducts,
}

/** A job creation request with each component in its own record. */
struct stJobCreateExt {
  1: required stJobComponentInfo stJob,
  2: optional stGrowerComponentInfo stGrower,
  3: optional stFarmComponentInfo stFarm,
  4: optional stFieldComponentInfo stField,
  5: optional stBoundaryComponentInfo stBoundary,
  6: optional list<stJobProductInfo> stProducts,
}

/** The state of the gateway's connection to its server. */
struct stMGTStatus {
  1: optional string sServerHostname,
  2: optional i32 RXAgeInSeconds,
  3: optional i32 TXAgeInSeconds,
  4: optional i32 ConnectionAgeInSeconds,
  5: optional i32 ServerReconnects,
  6: optional i32 RXDataBytes,
  7: optional i32 TXDataBytes,
}

/** The gateway's management configuration. */
struct stMGTCfg {
  1: optional i32 PingDelay,
}

/** A service-discovery error outcome. */
struct ServiceDiscoveryError {
  1: ServiceDiscoveryErrorStatus status,
}

/** A service-discovery failure outcome. */
struct ServiceDiscoveryFailure {
  1: string error_message,
}

/** A successful service discovery, with the service's URLs. */
struct ServiceDiscoverySuccess {
  1: list<string> urls,
}

/** The outcome of one service-discovery lookup. */
struct ServiceDiscoveryResult {
  1: optional ServiceDiscoveryError error,
  2: optional ServiceDiscoveryFailure failure,
  3: optional ServiceDiscoverySuccess success,
  4: optional bool pending,
}

/** One entry of the gateway's error log. */
struct stMGTError {
  1: required i32 Index,
  2: optional i32 Category,
  3: optional i32 Type,
  4: optional string sReason,
  5: optional string sDetails,
}

// ---------------------------------------------------------------------------
// Service
// ---------------------------------------------------------------------------

/** The calls between the field computer's applications and the telematics gateway. */
service Yol {
  /** Liveness, status and generic key/value messages. */
  void ping(),
  i32 status(1: i32 id),
  i32 SendMsg(1: eCategory Cat, 2: eTelematics Tel, 3: list<eDataType> eType, 4: list<string> sKey, 5: list<string> sValue),
  i32 SendMsgRaw(1: eCategory Cat, 2: i32 SubCat, 3: list<eDataType> eType, 4: list<string> sKey, 5: list<string> sValue),

  /** Over-the-air software updates. */
  i32 OTA_RefreshUpdateList(),
  list<stUpdateType> OTA_GetUpdateList(),
  string OTA_GetUpdateInfo(1: string sVersion),
  i32 OTA_UpdateInitiate(1: string sVersion),
  i32 OTA_UpdateInitiateType(1: string sVersion, 2: eOTAType eType),
  i32 OTA_UpdateInitiateFeature(1: string sFeature),
  i32 OTA_Ack(1: string sessionID, 2: eAckType eType),
  stUpdateStatus OTA_Status(),

  /** Remote-support sessions. */
  i32 requestRemoteSupport(1: i32 width, 2: i32 height),
  i32 stopRemoteSupport(),
  stRemoteSupportStatus remoteSupportStatus(),

  /** The cellular modem. */
  string getModemId(),
  i32 getSignalStrength(),
  bool getWanStatus(),
  bool getRoamingStatus(),
  i32 SetModemInfo(1: stCellularInfo sInfo),
  stCellularInfo GetModemInfo(),

  /** The machine's satellite position. */
  i32 SetGPSInfo(1: stGPSInfo sInfo),
  stGPSInfo GetGPSInfo(),

  /** The cloud account and its end-user agreement. */
  bool getMerivaultConnectionStatus(),
  string getMerivaultUUID(),
  string getMerivaultOwner(),
  i32 getMerivaultOwnerId(),
  string getMerivaultName(),
  i32 SetMerivaultName(1: string sName),
  string getMerivaultSystemName(),
  string getEULAVersion(),
  i32 acceptEULA(1: eEULAAcceptType eType),

  /** File transfer. */
  list<stFileInfo> FT_GetRemoteFileList(),
  i32 FT_UploadFile(1: stFileInfo sFile),
  i32 FT_DownloadFile(1: stDownloadFileInfo sFile),
  stFileInfo FT_CopyFile(1: string sFileID),
  i32 FT_Ack(1: string sFileID, 2: eFTAckType eType),
  i32 FT_Acknowledge(1: string sFileID, 2: eFTAckType eType, 3: eFTErrorType eError),
  stFileTransferStatus FT_GetStatus(1: string sFileID),
  list<stSessionInfo> FT_GetActiveSessions(),
  list<stFileHistory> FT_GetHistoryTime(1: string sStartDate, 2: string sEndDate),
  list<stFileHistory> FT_GetHistoryIndex(1: i32 sStartIndex, 2: i32 sEndIndex),

  /** Machine interfaces and their peer devices. */
  list<string> SYS_GetInterfaceList(),
  list<stPeerDevice> SYS_GetPeerList(1: string sInterface),
  i32 SYS_SetPeerList(1: string sInterface, 2: list<stPeerDevice> stDevices),

  /** Telematics reporting to the cloud. */
  i32 TEL_SendDTC(1: string sInterface, 2: string sID, 3: list<stDTC> stDTCs),
  i32 TEL_SendCAN(1: string sFilter, 2: list<stCANDevice> stDevices),
  i32 TEL_SendGPS(1: stGPSInfo sGPSData),
  i32 TEL_SendRTK(1: list<stRTKInfo> stRTK),
  i32 TEL_SendMDM(1: stModemInfo sModemInfo),
  i32 TEL_SendGeneric(1: string sType, 2: list<eDataType> eType, 3: list<string> sKey, 4: list<string> sValue),
  i32 TEL_SendGenericJSON(1: string sType, 2: string sPayload),

  /** Management: features, status, configuration, provisioning, errors and service discovery. */
  list<stFeatures> MGT_GetFeatureList(),
  bool MGT_IsFeatureEnabled(1: eMGTFeature eFeature),
  stMGTStatus MGT_GetStatus(),
  i32 MGT_SetConfig(1: stMGTCfg sCfg),
  stMGTCfg MGT_GetConfig(),
  i32 MGT_ProvisionRequest(1: string sType),
  list<string> MGT_GetProvisionList(),
  stProvision MGT_GetProvision(1: string sType),
  list<stMGTError> MGT_GetErrors(1: i32 index),
  string MGT_ServiceDiscoveryRequest(1: string sService, 2: string sVersion),
  ServiceDiscoveryResult MGT_GetServiceDiscoveryResult(1: string sCorrelationId),

  /** RTK correction sources. */
  stRTKInfo RTK_GetLockedSource(),
  list<stRTKInfo> RTK_GetSources(),

  /** Shared field jobs and job creation. */
  list<stJobInfo> JOB_GetList(),
  stJobStatus JOB_GetStatus(1: string sGUID),
  i32 JOB_SendStatus(1: string sGUID, 2: string sName, 3: string sStatus),
  i32 JOB_Create(1: stJobCreate sJob),
  i32 JOB_CreateExt(1: stJobCreateExt sJob),
  i32 JOB_Join(1: string sGUID),
  i32 JOB_Leave(1: string sGUID, 2: string sDataGUID),
  i32 JOB_RequestResources(1: string sGUID),
  list<stJobResource> JOB_GetResources(1: string sGUID),
  i32 JOB_SetMutableData(1: string sGUID, 2: list<stJobPoint> points),
}
