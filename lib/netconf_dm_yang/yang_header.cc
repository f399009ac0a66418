// The header of a YANG module, read line by line: each statement is looked for behind the one
// before it.

#include <cstring>
#include <string_view>

#include "netconf_dm_util/decimal.h"
#include "netconf_dm_util/log.h"
#include "netconf_dm_util/malloc_ptr.h"
#include "netconf_dm_yang.h"

namespace {

constexpr const char* kLineEnds = "\r\n";

char* SkipBlanks(char* text) {
  while (nc::IsBlank(*text)) ++text;
  return text;
}

char* LineEnd(char* text) { return text + strcspn(text, kLineEnds); }

char* CopyOf(std::string_view text) {
  nc::MallocPtr<char> copy = nc::NewText(text.size() + 1);
  if (copy != nullptr) memcpy(copy.get(), text.data(), text.size());
  return copy.release();
}

// The text behind the statement, blanks skipped, when the statement is the next thing at the
// cursor; otherwise null, and a cursor at another statement moves to it.
char* PassStatement(char** fcptr, const char* statement) {
  if (fcptr == nullptr) {
    NC_DM_LOG_ERROR("The fcptr input is null!\n");
    return nullptr;
  }
  if (*fcptr == nullptr) {
    NC_DM_LOG_ERROR("The *fcptr input is null!\n");
    return nullptr;
  }
  if (statement == nullptr) {
    NC_DM_LOG_ERROR("The statment input is null!\n");
    return nullptr;
  }
  char* text = SkipBlanks(*fcptr);
  const size_t statement_len = strlen(statement);
  if (strnlen(text, statement_len + 1) <= statement_len) {
    NC_DM_LOG_ERROR("The string length of ptr is less than statement!\n");
    return nullptr;
  }
  if (strncmp(text, statement, statement_len) != 0) {
    NC_DM_LOG_ERROR("The tmpstr isn't equal to statment input!\n");
    *fcptr = text;
    return nullptr;
  }
  return SkipBlanks(text + statement_len);
}

using Search = char* (*)(char** fcptr, const char* statement);

struct Statement {
  Search search;
  const char* text;
  char* nc_dm_yang_doc_t::*field;
  const char* field_name;
};

// Behind the module's name, in the order in which they are looked for.
constexpr Statement kStatements[] = {
    {nc_dm_yang_raw_search_objvalue, "namespace ", &nc_dm_yang_doc_t::ns, "ns"},
    {nc_dm_yang_raw_search_objvalue, "prefix ", &nc_dm_yang_doc_t::prefix, "prefix"},
    {nc_dm_yang_raw_search_objname, "revision ", &nc_dm_yang_doc_t::version, "version"},
};

// Goes from line to line until one has the statement. False when there is nothing to look for
// behind.
bool FindStatement(const Statement& statement, char** cursor, nc_dm_yang_doc_t* ydoc) {
  char* refused = nullptr;
  while (**cursor != '\0') {
    char* const line = *cursor;
    char* found = statement.search(cursor, statement.text);
    if (found != nullptr) {
      ydoc->*statement.field = found;
      NC_DM_LOG_INFO("The ydoc->%s is '%s'.\n", statement.field_name, found);
      return true;
    }
    NC_DM_LOG_ERROR("The ydoc->%s is null, continue!\n", statement.field_name);
    // Another statement has moved the cursor to itself, one that was refused has not.
    if (*cursor == line && refused == nullptr) refused = line;
    *cursor = LineEnd(SkipBlanks(*cursor));
  }
  // A line that was refused shall not cost the statements behind it.
  if (refused != nullptr) *cursor = refused;
  return refused != nullptr;
}

}  // namespace

nc_dm_yang_doc_t* nc_dm_yang_read_doc(const char* file_cont) {
  if (file_cont == nullptr) {
    NC_DM_LOG_ERROR("The file_cont input is null!\n");
    return nullptr;
  }
  nc_dm_yang_doc_t* ydoc = nc::NewRecord<nc_dm_yang_doc_t>().release();
  if (ydoc == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc yang doc!\n");
    return nullptr;
  }
  char* cursor = const_cast<char*>(file_cont);  // only read
  ydoc->module_name = nc_dm_yang_raw_search_objname(&cursor, "module ");
  if (ydoc->module_name != nullptr) {
    NC_DM_LOG_INFO("The ydoc->module_name is '%s'.\n", ydoc->module_name);
  } else {
    NC_DM_LOG_ERROR("The ydoc->module_name is null!\n");
  }
  cursor = LineEnd(cursor);
  for (const Statement& statement : kStatements) {
    if (!FindStatement(statement, &cursor, ydoc)) break;
  }
  return ydoc;
}

void nc_dm_yang_doc_free(nc_dm_yang_doc_t* ydoc) {
  if (ydoc == nullptr) return;
  free(ydoc->module_name);
  free(ydoc->version);
  free(ydoc->ns);
  free(ydoc->prefix);
  free(ydoc);
}

char* nc_dm_yang_raw_search_objname(char** fcptr, const char* statement) {
  char* name = PassStatement(fcptr, statement);
  if (name == nullptr) return nullptr;
  if (*name == '\0') {
    NC_DM_LOG_ERROR("The current ptr is null, no need to check start tag!\n");
    return nullptr;
  }
  // What has no block behind it is no module and no revision.
  nc::MallocPtr<char> copy;
  const size_t length = strcspn(name, " \t\n\r{");
  if (strchr(name + length, '{') != nullptr) copy.reset(CopyOf({name, length}));
  if (copy == nullptr) {
    NC_DM_LOG_ERROR("Failed to malloc object name buffer!\n");
    return nullptr;
  }
  *fcptr = name + length;
  return copy.release();
}

char* nc_dm_yang_raw_search_objvalue(char** fcptr, const char* statement) {
  char* value = PassStatement(fcptr, statement);
  if (value == nullptr) return nullptr;
  if (*value == '\0') {
    NC_DM_LOG_ERROR("The current ptr is null, no need to continue!\n");
    return nullptr;
  }
  if (*value == '"') ++value;
  char* line_end = LineEnd(value);
  if (*line_end == '\0') {
    NC_DM_LOG_ERROR("The current brk_ov is null!\n");
    return nullptr;
  }
  std::string_view text(value, static_cast<size_t>(line_end - value));
  while (!text.empty() && nc::IsBlank(text.back())) text.remove_suffix(1);
  while (!text.empty() && (text.back() == '"' || text.back() == ';')) text.remove_suffix(1);
  if (text.size() <= 1) {
    NC_DM_LOG_ERROR("The current brk_ov pointer address is equal to the one of file_cont!\n");
    return nullptr;
  }
  char* copy = CopyOf(text);
  if (copy != nullptr) *fcptr = line_end;
  return copy;
}
