# Run by CPack on the files of each package before it is made: the system finds the libraries without
# being told where, and a file of a package is nobody's own.
file(GLOB_RECURSE files LIST_DIRECTORIES false ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(file IN LISTS files)
  if(IS_SYMLINK ${file})
    continue()
  endif()
  if(file MATCHES "/bin/[^/]+$|/lib[^/]+\\.so[0-9.]*$")
    file(RPATH_REMOVE FILE ${file})
  endif()
  if(file MATCHES "/lib[^/]+\\.a$")
    execute_process(COMMAND strip --strip-debug --enable-deterministic-archives ${file}
      COMMAND_ERROR_IS_FATAL ANY)
  endif()
  if(NOT file MATCHES "/bin/[^/]+$")
    file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
endforeach()
