# Strips the programs and modules before they are packaged, as Debian's packages do.
# CPACK_STRIP_FILES would call plain `strip`, which leaves the compilers' names in them (.comment).
find_program(STRIP strip REQUIRED)
file(GLOB programs
  ${CPACK_TEMPORARY_DIRECTORY}/usr/sbin/* ${CPACK_TEMPORARY_DIRECTORY}/usr/libexec/kestora/*
  ${CPACK_TEMPORARY_DIRECTORY}/usr/lib/kestora/*.so)
if(NOT programs)
  message(FATAL_ERROR "no programs in ${CPACK_TEMPORARY_DIRECTORY}/usr")
endif()
foreach(program ${programs})
  execute_process(COMMAND ${STRIP} --strip-unneeded --remove-section=.comment --remove-section=.note ${program}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
