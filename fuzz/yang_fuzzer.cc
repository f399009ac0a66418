// The reader of YANG headers, and its two statements from any place of a text.

#include <stdlib.h>

#include <memory>
#include <string>

#include "fuzz/platform.h"
#include "netconf_dm_yang.h"

namespace {

using Search = char* (*)(char**, const char*);

void CheckSearch(std::string* text, Search search, const char* statement) {
  char* at = text->data();
  char* const end = at + text->size();
  const std::unique_ptr<char, decltype(&free)> found(search(&at, statement), &free);
  NCDM_FUZZ_CHECK(at >= text->data() && at <= end);
  if (found != nullptr) NCDM_FUZZ_CHECK(text->find(found.get()) != text->npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  std::string text(reinterpret_cast<const char*>(bytes), size);
  text = std::string(text.c_str());
  nc_dm_yang_doc_t* doc = nc_dm_yang_read_doc(text.c_str());
  NCDM_FUZZ_CHECK(doc != nullptr);
  for (const char* field : {doc->module_name, doc->version, doc->ns, doc->prefix}) {
    if (field != nullptr) NCDM_FUZZ_CHECK(text.find(field) != text.npos);
  }
  nc_dm_yang_doc_free(doc);
  CheckSearch(&text, nc_dm_yang_raw_search_objname, "module ");
  CheckSearch(&text, nc_dm_yang_raw_search_objname, "revision ");
  CheckSearch(&text, nc_dm_yang_raw_search_objvalue, "namespace ");
  CheckSearch(&text, nc_dm_yang_raw_search_objvalue, "prefix ");
  return 0;
}
