/*
 * The device's flash home directory: where files are that outlive a restart. The agent looks there
 * for the file that opens its debug output from the start.
 *
 * The agent takes this operation as a weak symbol. A platform that has no such directory leaves it
 * out, and the agent uses "./data".
 */
#ifndef FLASH_HOME_H_
#define FLASH_HOME_H_

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/*
 * Writes the directory's path, without a slash at the end, into `path`, a buffer of `size` bytes
 * that the caller owns. The text always ends with NUL within the buffer.
 * Returns 0, or a negative number when there is no such directory or it does not fit with its NUL;
 * the buffer is then left as it was. Callable from any thread.
 *
 * The Linux port answers the environment variable NC_DM_FLASH_HOME as it stands, and fails when
 * that is unset.
 */
int fs_get_flash_home(char* path, int size);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif /* FLASH_HOME_H_ */
