# cmake -DPAGES=FOLDER -DTEMPLATE=FILE -DOUTPUT=FILE -P EmbedPages.cmake: puts report.html and
# index.html of the folder into a source file; without PAGES empty ones.
set(MARKER "<!--LUMAGAUGE-DATA-->")
# The row of a report stands behind the marker, and is looked for in the first 64 KiB of the file.
set(FARTHEST_MARKER 57344)
foreach(name report index)
  string(TOUPPER ${name}_PAGE variable)
  set(${variable} "")
  if(PAGES)
    file(READ ${PAGES}/${name}.html ${variable})
    string(FIND "${${variable}}" "${MARKER}" first)
    string(FIND "${${variable}}" "${MARKER}" last REVERSE)
    if(first EQUAL -1 OR NOT first EQUAL last OR first GREATER FARTHEST_MARKER)
      message(FATAL_ERROR "${PAGES}/${name}.html must hold ${MARKER} once, in its first 56 KiB")
    endif()
  endif()
endforeach()
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
