# Run by CPack on the installed tree before it is packed: what a Debian package has besides.

set(doc "${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/${CPACK_PACKAGE_NAME}")
string(TIMESTAMP DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)  # SOURCE_DATE_EPOCH, where it is set
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.in" "${doc}/changelog.Debian" @ONLY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/copyright" "${doc}/copyright" COPYONLY)

# The folders of the system are not to get what umask the builder has.
file(GLOB_RECURSE folders LIST_DIRECTORIES true "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(folder ${folders})
  if(IS_DIRECTORY "${folder}" AND NOT IS_SYMLINK "${folder}")
    file(CHMOD "${folder}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
         WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()

file(GLOB pages "${CPACK_TEMPORARY_DIRECTORY}/usr/share/man/man*/*")
foreach(file ${pages} "${doc}/changelog.Debian")
  file(CHMOD "${file}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  execute_process(COMMAND gzip -9nf "${file}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
