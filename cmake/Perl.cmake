# Finds the embeddable Perl and offers it as the target Perl::Embed: include path (as a system path), the
# definitions that its headers were built with, and libperl.

find_program(PERL_EXECUTABLE perl REQUIRED)

function(perl_config NAME OUT)
  execute_process(COMMAND ${PERL_EXECUTABLE} -MConfig -e "print \$Config::Config{'${NAME}'}"
                  OUTPUT_VARIABLE value COMMAND_ERROR_IS_FATAL ANY)
  set(${OUT} "${value}" PARENT_SCOPE)
endfunction()

perl_config(archlibexp PERL_ARCHLIB)
perl_config(usemultiplicity PERL_MULTIPLICITY)
perl_config(ccflags PERL_CCFLAGS)
perl_config(libperl PERL_LIBNAME)

set(PERL_CORE ${PERL_ARCHLIB}/CORE)
if(NOT EXISTS ${PERL_CORE}/perl.h)
  message(FATAL_ERROR "perl.h not found in ${PERL_CORE}: apt-get install libperl-dev")
endif()
if(NOT PERL_MULTIPLICITY STREQUAL "define")
  message(FATAL_ERROR "this Perl was built without usemultiplicity; quelmo needs one interpreter after another")
endif()

find_library(PERL_LIBRARY NAMES perl ${PERL_LIBNAME} HINTS ${PERL_CORE} ${PERL_ARCHLIB}/../.. REQUIRED)

string(REGEX MATCHALL "-D[^ ]+" PERL_DEFINITIONS "${PERL_CCFLAGS}")

add_library(Perl::Embed INTERFACE IMPORTED)
target_include_directories(Perl::Embed SYSTEM INTERFACE ${PERL_CORE})
target_compile_options(Perl::Embed INTERFACE ${PERL_DEFINITIONS})
target_link_libraries(Perl::Embed INTERFACE ${PERL_LIBRARY} ${CMAKE_DL_LIBS})
