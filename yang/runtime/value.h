// Values of leaves: between the member of a record, a text, and the agent's typed object.
//
// A text is YANG's canonical form; for identities "module:name" (the module may be left out where
// the name is the only one of its kind). Reading accepts what the type accepts and nothing else.
#ifndef YANG_RUNTIME_VALUE_H_
#define YANG_RUNTIME_VALUE_H_

#include <string_view>

#include "ncdm_model.h"

namespace ncdm::model {

// Reads a text into the member at `member`, which is left alone when the type refuses the text.
bool ReadText(const ncdm_type_t& type, std::string_view text, void* member);

// Writes the canonical text of a member. False when it holds no value of the type.
bool WriteText(const ncdm_type_t& type, const void* member, char text[NCDM_TEXT_SIZE]);

// How the value stands on the socket and in the agent's buffers.
nc_dm_val_type_t SocketType(const ncdm_type_t& type);

// True if the agent passes the value as a number and not as a text.
bool IsNumber(const ncdm_type_t& type);

// Reads the agent's typed object.
bool ReadObject(const ncdm_type_t& type, const char* object, void* member);

// Writes the agent's typed object.
bool WriteObject(const ncdm_type_t& type, const void* member, char* object);

// Reads a slot of a data block, which must be set. False when the type refuses its value.
bool ReadSlot(const ncdm_type_t& type, const nc_dm_agent_data_block_t& block, int slot,
              void* member);

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_VALUE_H_
