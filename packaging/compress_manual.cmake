# Run by cpack on the staged files: Debian wants manual pages compressed, without a time in them.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*.[13])
list(FILTER pages INCLUDE REGEX "/man/man[13]/")
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9nf ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
