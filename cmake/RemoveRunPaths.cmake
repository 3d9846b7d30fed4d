# Run by CPack on the files of a package: below /usr the loader finds the libraries by itself, and
# Debian does not want run paths there.
file(GLOB_RECURSE files ${CPACK_TEMPORARY_DIRECTORY}/*)
list(FILTER files INCLUDE REGEX "/bin/[^/]+$|\\.so\\.[0-9.]+$")
foreach(file IN LISTS files)
  if(NOT IS_SYMLINK ${file})
    file(RPATH_REMOVE FILE ${file})
  endif()
endforeach()
