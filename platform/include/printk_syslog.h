/*
 * The device's log: where the agent's debug output goes.
 *
 * The agent decides itself what is worth writing; what it passes on shall appear. It always calls
 * with level 7, module "UNKNOW_MODULE", kind "DEBUG" and LOG_TYPE_DEBUG. One call is not always one
 * line: a frame dump comes in pieces, and most texts bring their own newline. The text is as it
 * stands, so a port neither adds nor drops a newline within what it hands to a reader who sees the
 * pieces in a row; a log that keeps records, as syslog does, may do with a trailing newline what it
 * does with any.
 *
 * Threads: called from any thread, at the same time, and also from the event loop, under the
 * agent's locks: must not wait for whoever reads the log. Must not call back into the agent, and
 * keeps errno (the agent logs between a failed call and its report).
 */
#ifndef PRINTK_SYSLOG_H_
#define PRINTK_SYSLOG_H_

#ifdef __cplusplus
extern "C" {
#endif

/* What kind of output a text is, which a device may use to choose its destination. */
typedef enum {
  LOG_TYPE_SYSLOG = 1,    /* a record for the system log */
  LOG_TYPE_DEBUG = 2,     /* debug output */
  LOG_TYPE_SYSLOG_NBK = 3 /* a record for the system log, without waiting for it */
} log_printk_type_e;

#pragma GCC visibility push(default)

/*
 * Writes one text.
 *   level   the severity, 0 (emergency) to 7 (debug), as in syslog
 *   module  the module that speaks
 *   kind    a short word for the kind of text
 *   type    see log_printk_type_e
 *   format  as for printf, with its arguments
 *
 * The Linux port writes to syslog(3) as "module/kind: text", with `level` as the severity. When the
 * environment variable NC_DM_LOG is "stderr" it writes the bare text to standard error instead.
 * Texts are cut at 2047 bytes. It never waits for its log: a text that a full pipe, terminal,
 * socket or log daemon would not take at once is dropped and counted, and the next one that is
 * taken comes behind a line with the count. Two limits: syslog(3) is asked for beforehand, so a
 * daemon that stands still makes one wait whose neighbour takes the last place in its queue in that
 * instant; and a slow disk is no reader. The environment variable NC_DM_DEBUG opens the agent's
 * levels when the process starts, before the first text: error, info, packet, timing or a number
 * (the sum of the bits), with commas between.
 */
void printk_syslog_ext(int level, const char* module, const char* kind, log_printk_type_e type,
                       const char* format, ...) __attribute__((format(printf, 5, 6)));

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif /* PRINTK_SYSLOG_H_ */
