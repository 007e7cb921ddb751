#include "proto_payloads.h"

namespace bench {

namespace {

void copy(const yol::stJobComponentInfo& from, yolbench::stJobComponentInfo& to) {
  to.set_sguid(from.sGUID);
  if (from.__isset.sName) to.set_sname(from.sName);
}

void copy(const yol::stJobUserInfo& from, yolbench::stJobUserInfo& to) {
  const auto& is = from.__isset;
  if (is.sAPIPartnerID) to.set_sapipartnerid(from.sAPIPartnerID);
  if (is.sFirstName) to.set_sfirstname(from.sFirstName);
  if (is.sMiddleName) to.set_smiddlename(from.sMiddleName);
  if (is.sLastName) to.set_slastname(from.sLastName);
  if (is.sPhoneNumber) to.set_sphonenumber(from.sPhoneNumber);
  if (is.sMobileNumber) to.set_smobilenumber(from.sMobileNumber);
  if (is.sFaxNumber) to.set_sfaxnumber(from.sFaxNumber);
  if (is.sEmail) to.set_semail(from.sEmail);
  if (is.sAddress) to.set_saddress(from.sAddress);
  if (is.sAddress2) to.set_saddress2(from.sAddress2);
  if (is.sCity) to.set_scity(from.sCity);
  if (is.sCounty) to.set_scounty(from.sCounty);
  if (is.sRegion) to.set_sregion(from.sRegion);
  if (is.sPostalCode) to.set_spostalcode(from.sPostalCode);
  if (is.sCountry) to.set_scountry(from.sCountry);
  if (is.sComments) to.set_scomments(from.sComments);
}

void copy(const yol::stGrowerComponentInfo& from, yolbench::stGrowerComponentInfo& to) {
  to.set_sguid(from.sGUID);
  if (from.__isset.sName) to.set_sname(from.sName);
  if (from.__isset.sExternalID) to.set_sexternalid(from.sExternalID);
  if (from.__isset.stUserInfo) copy(from.stUserInfo, *to.mutable_stuserinfo());
}

void copy(const yol::stFarmComponentInfo& from, yolbench::stFarmComponentInfo& to) {
  to.set_sguid(from.sGUID);
  if (from.__isset.sName) to.set_sname(from.sName);
  if (from.__isset.stUserInfo) copy(from.stUserInfo, *to.mutable_stuserinfo());
}

void copy(const yol::stFieldComponentInfo& from, yolbench::stFieldComponentInfo& to) {
  const auto& is = from.__isset;
  to.set_sguid(from.sGUID);
  if (is.sName) to.set_sname(from.sName);
  if (is.Size) to.set_size(from.Size);
  if (is.stUserInfo) copy(from.stUserInfo, *to.mutable_stuserinfo());
  if (is.stBoundaries) {
    for (const auto& ring : from.stBoundaries) {
      auto* out = to.add_stboundaries();
      if (ring.__isset.sType) out->set_stype(ring.sType);
      if (ring.__isset.stExterior) {
        for (const auto& point : ring.stExterior) {
          auto* p = out->add_stexterior();
          p->set_latitude(point.Latitude);
          p->set_longitude(point.Longitude);
        }
      }
    }
  }
  if (is.stFlags) {
    for (const auto& flag : from.stFlags) {
      auto* out = to.add_stflags();
      if (flag.__isset.sType) out->set_stype(flag.sType);
      if (flag.__isset.stCoordinate) {
        out->mutable_stcoordinate()->set_latitude(flag.stCoordinate.Latitude);
        out->mutable_stcoordinate()->set_longitude(flag.stCoordinate.Longitude);
      }
    }
  }
}

void copy(const yol::stJobProductInfo& from, yolbench::stJobProductInfo& to) {
  const auto& is = from.__isset;
  to.set_sguid(from.sGUID);
  if (is.sName) to.set_sname(from.sName);
  if (is.mixDdi) to.set_mixddi(from.mixDdi);
  if (is.productDdi) to.set_productddi(from.productDdi);
  if (is.quantity) to.set_quantity(from.quantity);
  if (is.sUnits) to.set_sunits(from.sUnits);
  if (is.TargetRate) to.set_targetrate(from.TargetRate);
  if (is.stRxMap) {
    const auto& map = from.stRxMap;
    auto* out = to.mutable_strxmap();
    out->set_sguid(map.sGUID);
    if (map.__isset.sName) out->set_sname(map.sName);
    if (map.__isset.sColumn) out->set_scolumn(map.sColumn);
    if (map.__isset.DefaultRate) out->set_defaultrate(map.DefaultRate);
    if (map.__isset.ConversionFactor) out->set_conversionfactor(map.ConversionFactor);
  }
  if (is.stIngredients) {
    for (const auto& ingredient : from.stIngredients) {
      auto* out = to.add_stingredients();
      out->set_sguid(ingredient.sGUID);
      if (ingredient.__isset.sName) out->set_sname(ingredient.sName);
      if (ingredient.__isset.ddi) out->set_ddi(ingredient.ddi);
      if (ingredient.__isset.quantity) out->set_quantity(ingredient.quantity);
      if (ingredient.__isset.sUnits) out->set_sunits(ingredient.sUnits);
      if (ingredient.__isset.sAPIPartnerID) out->set_sapipartnerid(ingredient.sAPIPartnerID);
    }
  }
  if (is.stCarrier) {
    const auto& carrier = from.stCarrier;
    auto* out = to.mutable_stcarrier();
    out->set_sguid(carrier.sGUID);
    if (carrier.__isset.sName) out->set_sname(carrier.sName);
    if (carrier.__isset.quantity) out->set_quantity(carrier.quantity);
    if (carrier.__isset.agxId) out->set_agxid(carrier.agxId);
    if (carrier.__isset.sAPIPartnerID) out->set_sapipartnerid(carrier.sAPIPartnerID);
  }
}

}  // namespace

yolbench::stJobCreateExt toProto(const yol::stJobCreateExt& job) {
  yolbench::stJobCreateExt out;
  const auto& is = job.__isset;
  copy(job.stJob, *out.mutable_stjob());
  if (is.stGrower) copy(job.stGrower, *out.mutable_stgrower());
  if (is.stFarm) copy(job.stFarm, *out.mutable_stfarm());
  if (is.stField) copy(job.stField, *out.mutable_stfield());
  if (is.stBoundary) {
    out.mutable_stboundary()->set_sguid(job.stBoundary.sGUID);
    if (job.stBoundary.__isset.sName) out.mutable_stboundary()->set_sname(job.stBoundary.sName);
  }
  if (is.stProducts) {
    for (const auto& product : job.stProducts) {
      copy(product, *out.add_stproducts());
    }
  }
  return out;
}

yolbench::FileHistoryList toProto(const yol::Yol_FT_GetHistoryIndex_result& history) {
  yolbench::FileHistoryList out;
  for (const auto& entry : history.success) {
    auto* e = out.add_success();
    const auto& is = entry.__isset;
    e->set_index(entry.index);
    if (is.id) e->set_id(entry.id);
    if (is.name) e->set_name(entry.name);
    if (is.direction) e->set_direction(entry.direction);
    if (is.type) e->set_type(entry.type);
    if (is.status) e->set_status(entry.status);
    if (is.date) e->set_date(entry.date);
  }
  return out;
}

}  // namespace bench
