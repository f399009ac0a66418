# Writes the symbols file of the library package from the libraries as they were built:
#   cmake -DNM=nm -DLIBRARIES=a.so;b.so -DPACKAGE=name -DVERSION=1.0.0 -DOUTPUT=file -P write_symbols.cmake
# dpkg-shlibdeps reads it in other people's builds, so that they depend on no newer version than they use.
set(text "")
foreach(library IN LISTS LIBRARIES)
  get_filename_component(name "${library}" NAME)
  string(REGEX MATCH "^.*\\.so\\.[0-9]+" soname "${name}")
  execute_process(COMMAND ${NM} -D --defined-only --with-symbol-versions "${library}"
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(APPEND text "${soname} ${PACKAGE} #MINVER#\n")
  string(REGEX MATCHALL "[^\n]+" lines "${output}")
  set(symbols "")
  foreach(line IN LISTS lines)
    string(REGEX MATCH "[^ ]+$" symbol "${line}")
    string(REPLACE "@@" "@" symbol "${symbol}")
    if(line MATCHES " A ")  # the version itself
      set(symbol "${symbol}@${symbol}")
    elseif(NOT symbol MATCHES "@")
      set(symbol "${symbol}@Base")
    endif()
    list(APPEND symbols " ${symbol} ${VERSION}")
  endforeach()
  list(SORT symbols)
  list(JOIN symbols "\n" symbols)
  string(APPEND text "${symbols}\n")
endforeach()
file(WRITE "${OUTPUT}" "${text}")
