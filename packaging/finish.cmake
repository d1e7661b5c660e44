# Run by cpack when the files of all packages are in their folders: compresses manual pages and changes, and strips what
# CPack leaves.  CPack has no setting for these.
file(GLOB_RECURSE files LIST_DIRECTORIES false ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(file IN LISTS files)
  if(IS_SYMLINK ${file})
    continue()
  elseif(file MATCHES "/share/man/.*[0-9]$|/changelog(\\.Debian)?$")
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
  elseif(file MATCHES "\\.so(\\.[0-9.]+)?$|/bin/[^/]*$")
    execute_process(COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note ${file}
      COMMAND_ERROR_IS_FATAL ANY)
  elseif(file MATCHES "\\.a$")
    execute_process(COMMAND strip --strip-debug --remove-section=.comment --enable-deterministic-archives ${file}
      COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
