// The service registration: the API asks for each step, and its end confirms the groups.
#include "app/Quorin.h"
#include "platform/KorOamApi.h"
#include "records/LogLine.h"

namespace {

// The kinds of outcomes to which the daemon reacts.
constexpr unsigned int svcRegIndOutcome = 12;
constexpr unsigned int svcRegSetUpdateOutcome = 14;

}  // namespace

void Quorin::svcRegIndCallback() {
  KorOamApi::instance().sendVmbSvcRegInd(Zel::OamSvcRegInd::SVC_REG_LIST, groupList);
}

void Quorin::svcRegResultCallback(unsigned int kind, Zel::MgmtResult result,
                                  const std::vector<unsigned short>& groups) {
  if (result == Zel::MGMT_SUCCESS && kind == svcRegIndOutcome) {
    groupIds.insert(groups.begin(), groups.end());
    KorOamApi::instance().sendVmbSvcRegSetUpdateInd(setUpdateType, setUpdateList);
  } else if (result == Zel::MGMT_SUCCESS && kind == svcRegSetUpdateOutcome) {
    KorOamApi::instance().sendVmbSvcRegEndInd();
  } else {
    Zel::logLine(ZEL_LOG_ERROR, "svcReg failed with error code = ", mgmtResultText(result));
  }
}
