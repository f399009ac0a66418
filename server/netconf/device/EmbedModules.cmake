# Writes a source file with the texts of YANG modules, so that the program needs no files of its own
# at run time.
#   cmake -DOUTPUT=FILE -DMODULES=FILE;FILE... -P EmbedModules.cmake
set(entries "")
foreach(module IN LISTS MODULES)
  get_filename_component(name ${module} NAME)
  string(REGEX REPLACE "@.*" "" name ${name})
  file(READ ${module} text)
  # A literal may be no longer than 65,536 bytes by the standard; compilers take more.
  string(APPEND entries "    {\"${name}\", R\"yang~(${text})yang~\"},\n")
endforeach()
file(WRITE ${OUTPUT}
"// Made by EmbedModules.cmake.
#include \"server/netconf/device/embedded_modules.h\"

namespace ncdm::netconf {
const std::vector<EmbeddedModule>& EmbeddedModules() {
  static const std::vector<EmbeddedModule> modules = {
${entries}  };
  return modules;
}
}  // namespace ncdm::netconf
")
