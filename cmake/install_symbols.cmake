# At installation: writes the debug symbols of `program`, as
# .build-id/XX/REST.debug.
function(install_symbols program objcopy)
  execute_process(COMMAND readelf -n ${program} OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
  if(NOT notes MATCHES "Build ID: (..)([0-9a-f]+)")
    message(FATAL_ERROR "${program} has no build id")
  endif()
  set(folder $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/usr/lib/debug/.build-id/${CMAKE_MATCH_1})
  set(file ${folder}/${CMAKE_MATCH_2}.debug)
  file(MAKE_DIRECTORY ${folder})
  execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections
    ${program} ${file} COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()
