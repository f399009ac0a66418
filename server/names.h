// The words for the numbers of the protocol, and back.
#ifndef NCDM_SERVER_NAMES_H_
#define NCDM_SERVER_NAMES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/request.h"

namespace ncdm::server {

// "EDIT_RSP"; the number itself when it has no name. So everywhere here.
std::string MessageTypeName(std::int32_t type);
// "DATA_MISSING"
std::string FaultCodeName(std::int32_t code);
// "running"
std::string DatastoreName(std::int32_t datastore);
// "merge"
std::string OperationName(std::int32_t operation);
std::string DefaultOperationName(std::int32_t operation);
// "continue-on-error"
std::string ErrorOptionName(std::int32_t option);
// "segment"
std::string PacketTypeName(std::int32_t packet_type);
// "module-name"
std::string YangAttributeName(std::int32_t type);
// "key,slot"; empty for none
std::string PathAttributeNames(std::int32_t attributes);
// "error,info"
std::string DebugBitNames(std::int32_t bits);

std::optional<nc_dm_ds_type_t> DatastoreFromName(std::string_view name);
std::optional<Operation> OperationFromName(std::string_view name);
std::optional<DefaultOperation> DefaultOperationFromName(std::string_view name);
std::optional<ErrorOption> ErrorOptionFromName(std::string_view name);
// A number, decimal or 0x..., or names separated by commas.
std::optional<std::int32_t> DebugBitsFromText(std::string_view text);

// "fault DATA_MISSING: interface"; "refused, without a reason" for the code of success. The path is
// the agent's text as it is: show it by Printable().
std::string RenderFault(std::int32_t code, std::string_view path);

// "[3, 7]"
std::string RenderIds(const Ids& ids);

}  // namespace ncdm::server

#endif  // NCDM_SERVER_NAMES_H_
