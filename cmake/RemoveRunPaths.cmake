# Removes the run paths of the programs and libraries below FOLDER (cmake -P): below /usr the loader
# finds the libraries by itself, and Debian does not want run paths there.
file(GLOB_RECURSE files ${FOLDER}/*)
list(FILTER files INCLUDE REGEX "/bin/[^/]+$|\\.so\\.[0-9.]+$")
foreach(file IN LISTS files)
  if(NOT IS_SYMLINK ${file})
    file(RPATH_REMOVE FILE ${file})
  endif()
endforeach()
