/* Patterns, by PCRE2. A library of its own, for the applications whose modules have some. */
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#include <string.h>

#include "ncdm_model.h"

static pcre2_code* compile(const char* expression) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  pcre2_code* code = pcre2_compile(
      (PCRE2_SPTR)expression, PCRE2_ZERO_TERMINATED,
      PCRE2_UTF | PCRE2_ANCHORED | PCRE2_ENDANCHORED | PCRE2_DOLLAR_ENDONLY | PCRE2_NO_AUTO_CAPTURE,
      &error, &offset, NULL);
  if (code == NULL) {
    nc_dm_agent_dbg_msg(NC_DM_DBG_ERROR, "The pattern '%s' is refused at %zu, error %d.\n",
                        expression, offset, error);
  }
  return code;
}

/* A text that the matcher gives up on is refused: a limit of its own says how long it may try. */
bool ncdm_pattern_matches(ncdm_pattern_t* pattern, const char* text) {
  if (pattern->code == NULL) pattern->code = compile(pattern->expression);
  if (pattern->code == NULL) return false;
  pcre2_match_data* match = pcre2_match_data_create(1, NULL);
  if (match == NULL) return false;
  const int result =
      pcre2_match((pcre2_code*)pattern->code, (PCRE2_SPTR)text, strlen(text), 0, 0, match, NULL);
  pcre2_match_data_free(match);
  return pattern->inverted ? result == PCRE2_ERROR_NOMATCH : result >= 0;
}

void ncdm_pattern_release(ncdm_pattern_t* pattern) {
  pcre2_code_free((pcre2_code*)pattern->code);
  pattern->code = NULL;
}
