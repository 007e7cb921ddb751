// Shared field jobs: listing, creation, joining and leaving, status posts,
// resources and points.
#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <boost/lexical_cast.hpp>

#include "gateway.h"

namespace gatewaysim {

using yol::eJoinRequestState;

namespace {

constexpr std::size_t kMaxParticipants = 100;

eJoinRequestState::type joinState(const yol::stJobInfo& info) {
  return info.__isset.stEndpoint && info.stEndpoint.__isset.eState ? info.stEndpoint.eState
                                                                   : eJoinRequestState::IDLE;
}

// The outer ring of a field boundary as well-known text, longitude first.
std::string polygonText(const std::vector<yol::stJobBoundaryCoordinate>& ring) {
  std::ostringstream text;
  text << "POLYGON((";
  for (std::size_t i = 0; i < ring.size(); ++i) {
    text << (i == 0 ? "" : ", ") << boost::lexical_cast<std::string>(ring[i].Longitude) << ' '
         << boost::lexical_cast<std::string>(ring[i].Latitude);
  }
  text << "))";
  return text.str();
}

// A component's name, or its id when it has none.
template <class Component>
std::string nameOrId(const Component& component) {
  return component.__isset.sName ? component.sName : component.sGUID;
}

// A job as a creation request describes it: id, name and the boundary
// component's name.
template <class Request>
yol::stJobInfo jobInfo(const Request& request) {
  yol::stJobInfo info;
  info.sGUID = request.stJob.sGUID;
  if (request.stJob.__isset.sName) {
    info.__set_sName(request.stJob.sName);
  }
  if (request.__isset.stBoundary) {
    info.__set_sBoundary(nameOrId(request.stBoundary));
  }
  return info;
}

}  // namespace

Gateway::Job* Gateway::findJob(const std::string& guid) {
  for (Job& job : jobs_) {
    if (job.info.sGUID == guid) {
      return &job;
    }
  }
  return nullptr;
}

Gateway::Job& Gateway::existingJob(const std::string& guid) {
  Job* job = findJob(guid);
  if (job == nullptr) {
    throw std::invalid_argument("no job with id '" + guid + "'");
  }
  return *job;
}

int32_t Gateway::nextParticipantId() { return static_cast<int32_t>(next_id_++); }

// A join request is accepted on the next poll and joined on the one after;
// a leave request is done on the next poll.
void Gateway::stepJoin(Job& job) {
  yol::stJobEndpoint& endpoint = job.info.stEndpoint;
  switch (joinState(job.info)) {
    case eJoinRequestState::REQUESTED:
      endpoint.__set_eState(eJoinRequestState::ACCEPTED);
      break;
    case eJoinRequestState::ACCEPTED:
      endpoint.__set_eState(eJoinRequestState::JOINED);
      break;
    case eJoinRequestState::LEAVE_REQUESTED:
      endpoint.__set_eState(eJoinRequestState::LEFT);
      break;
    default:
      break;
  }
}

void Gateway::JOB_GetList(std::vector<yol::stJobInfo>& _return) {
  _return.clear();
  for (Job& job : jobs_) {
    _return.push_back(job.info);
    stepJoin(job);
  }
}

// The participants who posted a status, the gateway's own machine while it
// takes part, and that machine's position while joined.
void Gateway::JOB_GetStatus(yol::stJobStatus& _return, const std::string& sGUID) {
  const Job& job = existingJob(sGUID);
  const eJoinRequestState::type state = joinState(job.info);
  yol::stJobStatus status;
  status.sGUID = sGUID;
  std::vector<yol::stJobParticipants> participants = job.participants;
  std::vector<yol::stJobSystems> systems;
  if (state == eJoinRequestState::JOINED || state == eJoinRequestState::LEAVE_REQUESTED) {
    const int32_t id = job.info.stEndpoint.ParticipantId;
    if (std::none_of(participants.begin(), participants.end(),
                     [id](const yol::stJobParticipants& p) { return p.id == id; })) {
      yol::stJobParticipants self;
      self.id = id;
      self.sName = state_.merivault.name;
      self.__set_sStatus(state == eJoinRequestState::JOINED ? "joined" : "leaving");
      participants.push_back(self);
    }
    yol::stJobSystems machine;
    machine.sName = state_.merivault.system_name;
    machine.ParticipantID = id;
    machine.__set_Status(state);
    const yol::stGPSInfo& gps = state_.gps;
    if (gps.__isset.latitude) machine.__set_Latitude(gps.latitude);
    if (gps.__isset.longitude) machine.__set_Longitude(gps.longitude);
    if (gps.__isset.altitude) machine.__set_Altitude(gps.altitude);
    if (gps.__isset.velocity) machine.__set_Velocity(gps.velocity);
    if (gps.__isset.direction) machine.__set_Direction(gps.direction);
    systems.push_back(machine);
  }
  status.__set_stParticipants(participants);
  status.__set_stSystems(systems);
  _return = std::move(status);
}

// Posts the status of the participant named sName, who joins the list on
// the first post.
int32_t Gateway::JOB_SendStatus(const std::string& sGUID, const std::string& sName,
                                const std::string& sStatus) {
  Job* job = findJob(sGUID);
  if (job == nullptr || sName.empty()) {
    return kUnknown;
  }
  for (yol::stJobParticipants& participant : job->participants) {
    if (participant.sName == sName) {
      participant.__set_sStatus(sStatus);
      return kDone;
    }
  }
  if (job->participants.size() >= kMaxParticipants) {
    return kNoRoom;
  }
  const bool self = sName == state_.merivault.name && job->info.__isset.stEndpoint;
  yol::stJobParticipants participant;
  participant.id = self ? job->info.stEndpoint.ParticipantId : nextParticipantId();
  participant.sName = sName;
  participant.__set_sStatus(sStatus);
  job->participants.push_back(std::move(participant));
  return kDone;
}

// A new job offers its data package and the prescription map of each
// product that has one.
int32_t Gateway::addJob(yol::stJobInfo info, const std::vector<yol::stJobProductInfo>& products) {
  if (info.sGUID.empty()) {
    return kUnknown;
  }
  if (findJob(info.sGUID) != nullptr) {
    return kNotNow;
  }
  if (jobs_.size() >= kMaxJobs) {
    return kNoRoom;
  }
  Job job;
  yol::stJobResource package;
  package.id = info.sGUID + "-data";
  package.__set_name(info.sGUID + ".zip");
  package.__set_type(yol::eFTType::JOB_DATA_PACKAGE);
  const std::size_t size = 4096 + 1024 * std::min<std::size_t>(products.size(), 1000);
  package.__set_size(static_cast<int32_t>(size));
  job.resources.push_back(package);
  for (const yol::stJobProductInfo& product : products) {
    if (product.__isset.stRxMap) {
      yol::stJobResource map;
      map.id = product.stRxMap.sGUID;
      map.__set_name(nameOrId(product.stRxMap));
      map.__set_type(yol::eFTType::PRESCRIPTION_MAP);
      job.resources.push_back(map);
    }
  }
  info.__set_Priority(0);
  job.info = std::move(info);
  jobs_.push_back(std::move(job));
  return kDone;
}

int32_t Gateway::JOB_Create(const yol::stJobCreate& sJob) {
  const int32_t result = addJob(jobInfo(sJob), sJob.stProducts);
  if (result == kDone) {
    created_jobs_.push_back(sJob);
  }
  return result;
}

// The first field boundary, when there is one, becomes the job's boundary,
// and the field's flags its proximity points.
int32_t Gateway::JOB_CreateExt(const yol::stJobCreateExt& sJob) {
  yol::stJobInfo info = jobInfo(sJob);
  const yol::stFieldComponentInfo& field = sJob.stField;
  if (sJob.__isset.stField && !field.stBoundaries.empty() &&
      !field.stBoundaries.front().stExterior.empty()) {
    info.__set_sBoundary(polygonText(field.stBoundaries.front().stExterior));
  }
  if (sJob.__isset.stField && !field.stFlags.empty()) {
    std::vector<yol::stJobPoint> points;
    for (const yol::stFlag& flag : field.stFlags) {
      if (flag.__isset.stCoordinate) {
        yol::stJobPoint point;
        point.eType = yol::eJobPointType::PROXIMITY;
        point.__set_Latitude(flag.stCoordinate.Latitude);
        point.__set_Longitude(flag.stCoordinate.Longitude);
        points.push_back(point);
      }
    }
    info.__set_stPoints(points);
  }
  const int32_t result = addJob(std::move(info), sJob.stProducts);
  if (result == kDone) {
    created_jobs_ext_.push_back(sJob);
  }
  return result;
}

// Joining gives the job an endpoint when it has none.
int32_t Gateway::JOB_Join(const std::string& sGUID) {
  Job* job = findJob(sGUID);
  if (job == nullptr) {
    return kUnknown;
  }
  const eJoinRequestState::type state = joinState(job->info);
  if (state != eJoinRequestState::IDLE && state != eJoinRequestState::LEFT &&
      state != eJoinRequestState::SERVER_ERROR_UNKNOWN) {
    return kNotNow;
  }
  if (!job->info.__isset.stEndpoint) {
    yol::stJobEndpoint endpoint;
    endpoint.sHost = "jobs.merivault.example";
    endpoint.Port = 7443;
    endpoint.ParticipantId = nextParticipantId();
    endpoint.__set_sAuthorization("simulated-token-" + sGUID);
    job->info.__set_stEndpoint(endpoint);
  }
  job->info.stEndpoint.__set_eState(eJoinRequestState::REQUESTED);
  return kDone;
}

int32_t Gateway::JOB_Leave(const std::string& sGUID, const std::string& sDataGUID) {
  Job* job = findJob(sGUID);
  if (job == nullptr) {
    return kUnknown;
  }
  const eJoinRequestState::type state = joinState(job->info);
  if (state != eJoinRequestState::REQUESTED && state != eJoinRequestState::ACCEPTED &&
      state != eJoinRequestState::JOINED) {
    return kNotNow;
  }
  job->data_guid = sDataGUID;
  job->info.stEndpoint.__set_eState(eJoinRequestState::LEAVE_REQUESTED);
  return kDone;
}

int32_t Gateway::JOB_RequestResources(const std::string& sGUID) {
  Job* job = findJob(sGUID);
  if (job == nullptr) {
    return kUnknown;
  }
  job->resources_requested = true;
  return kDone;
}

// Empty until the resources have been requested.
void Gateway::JOB_GetResources(std::vector<yol::stJobResource>& _return,
                               const std::string& sGUID) {
  const Job& job = existingJob(sGUID);
  if (job.resources_requested) {
    _return = job.resources;
  } else {
    _return.clear();
  }
}

// The points replace the job's points.
int32_t Gateway::JOB_SetMutableData(const std::string& sGUID,
                                    const std::vector<yol::stJobPoint>& points) {
  Job* job = findJob(sGUID);
  if (job == nullptr) {
    return kUnknown;
  }
  job->info.__set_stPoints(points);
  return kDone;
}

}  // namespace gatewaysim
