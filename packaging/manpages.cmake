# Writes the manual pages, gzipped, into OUT: quirebook(1), quirebook-cli(1)
# and one quirebook-cli-VERB(1) per verb, all made by help2man from the
# programs' own --help, so a page says what the program says.
# Run as: cmake -DHELP2MAN=... -DGZIP=... -DAPP=... -DCLI=... -DVERSION=...
#               -DOUT=... -P manpages.cmake
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})

function(page name description program)
  execute_process(
    COMMAND ${HELP2MAN} --no-info --locale=C.UTF-8 --section=1 --name=${description} ${ARGN}
            --output=${OUT}/${name}.1 ${program}
    RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "help2man couldn't make ${name}.1")
  endif()
  # -n: no name or time stamp inside, so the same page gives the same bytes.
  execute_process(COMMAND ${GZIP} -9nf ${OUT}/${name}.1 RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "gzip failed on ${name}.1")
  endif()
endfunction()

# The verbs and their one-line summaries, as `quirebook-cli --help` lists them.
execute_process(COMMAND ${CLI} --help OUTPUT_VARIABLE help RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "quirebook-cli --help failed")
endif()
string(REGEX MATCH "\nVerbs:\n(([ ]+[^\n]*\n)+)" verbs "${help}")
string(REGEX MATCHALL "\n  [a-z]+  +[^\n]*" lines "\n${CMAKE_MATCH_1}")

set(see_also "")
foreach(line ${lines})
  string(REGEX MATCH "^\n  ([a-z]+)  +(.*[^.])\\.?$" _ "${line}")
  set(verb ${CMAKE_MATCH_1})
  set(summary ${CMAKE_MATCH_2})
  file(WRITE ${OUT}/verb.h2m "[SEE ALSO]\n.BR quirebook-cli (1)\n")
  # The verb's page is named as git names its commands' pages.
  page(quirebook-cli-${verb} "${summary}" "${CLI} ${verb}" --include=${OUT}/verb.h2m
       "--version-string=quirebook-cli-${verb} ${VERSION}")
  string(APPEND see_also ".BR quirebook-cli-${verb} (1),\n")
endforeach()
if(see_also STREQUAL "")
  message(FATAL_ERROR "no verbs found in quirebook-cli --help")
endif()

file(WRITE ${OUT}/cli.h2m "[SEE ALSO]\n${see_also}.BR quirebook (1)\n")
page(quirebook-cli "PDF and picture tools for scripts and batch work" ${CLI}
     --include=${OUT}/cli.h2m)
file(WRITE ${OUT}/app.h2m "[SEE ALSO]\n.BR quirebook-cli (1)\n")
page(quirebook "merge, split, compress, sign and convert PDFs and pictures" ${APP}
     --include=${OUT}/app.h2m)
file(REMOVE ${OUT}/verb.h2m ${OUT}/cli.h2m ${OUT}/app.h2m)
file(TOUCH ${OUT}/../man.stamp)
