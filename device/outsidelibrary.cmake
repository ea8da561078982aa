# Whether a file can stand behind the boundary: a mistake here is told when configuring, in a sentence, instead of by
# the linker or, where a swap of the library has no effect, by nothing.

set(NOLVA_DEVICE_LIBRARY_NAME libTharlenIOLib42.so)

# The bytes of an ELF file that say what it is for: class and order, type (3 is a shared object), machine.
function(nolva_elf_kind file kind)
  file(READ ${file} head LIMIT 20 HEX)
  string(REGEX REPLACE "^7f454c46(....)(....................)(....)(....)$" "\\1 \\3 \\4" head "${head}")
  set(${kind} ${head} PARENT_SCOPE)
endfunction()

function(nolva_check_outside_library file)
  set(named "THARLEN_IO_LIBRARY is \"${file}\"")
  if(NOT IS_ABSOLUTE "${file}")
    message(FATAL_ERROR "${named}: give the whole path, from the root folder on.")
  elseif(NOT EXISTS "${file}")
    message(FATAL_ERROR "${named}: there is no such file; correct the path, or leave it empty for the simulated arm.")
  elseif(IS_DIRECTORY "${file}")
    message(FATAL_ERROR "${named}: this is a folder; name the file ${NOLVA_DEVICE_LIBRARY_NAME} in it.")
  elseif("${file}" MATCHES "[:;]")
    message(FATAL_ERROR "${named}: a folder with a colon or semicolon in its name cannot be searched; move the file.")
  endif()
  get_filename_component(name "${file}" NAME)
  if(NOT name STREQUAL NOLVA_DEVICE_LIBRARY_NAME)
    message(FATAL_ERROR "${named}: the file has to be called ${NOLVA_DEVICE_LIBRARY_NAME}, since the installed "
      "application looks for that name; rename it, or name a link to it that is called so.")
  endif()

  # This very program is of the machine that is built on.
  nolva_elf_kind("${CMAKE_COMMAND}" here)
  nolva_elf_kind("${file}" there)
  string(REGEX REPLACE " .... " " 0300 " wanted "${here}")
  if(NOT "${there}" STREQUAL "${wanted}")
    message(FATAL_ERROR "${named}: this is no shared library of this machine; give one that was built for it.")
  endif()

  find_program(CMAKE_READELF readelf REQUIRED)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${CMAKE_READELF} -dW "${file}"
    OUTPUT_VARIABLE dynamic ERROR_QUIET)
  string(REGEX MATCH "\\(SONAME\\)[^[]*\\[([^]\n]*)\\]" soname "${dynamic}")
  if(NOT "${CMAKE_MATCH_1}" STREQUAL NOLVA_DEVICE_LIBRARY_NAME)
    message(FATAL_ERROR "${named}: its SONAME is \"${CMAKE_MATCH_1}\", so that no other library could be put in its "
      "place; link it with -Wl,-soname,${NOLVA_DEVICE_LIBRARY_NAME}.")
  endif()
endfunction()
