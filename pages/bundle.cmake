# Makes one page: PAGE.html and PAGE_page.cpp in PLACE, from src/PAGE/{page.html,main.ts,style.css}.
#
#   cmake -DPAGE=run -DESBUILD=esbuild -DPLACE=FOLDER -P bundle.cmake
#
# page.html says by {{style}}, {{uplot}}, {{script}} and {{policy}} where things go. What it marks otherwise is for
# the program that hands the page out. The policy allows these very scripts and this very style sheet, by their
# digests, and nothing else but what page.html itself adds to it.
cmake_minimum_required(VERSION 3.20)
set(here "${CMAKE_CURRENT_LIST_DIR}")

# bundled(SOURCE OUT): a script or style sheet with all that it imports.
function(bundled source out)
  execute_process(
    COMMAND "${ESBUILD}" "${source}" --bundle --minify --legal-comments=none --log-level=warning
            --target=chrome109,firefox115,safari16.4
    WORKING_DIRECTORY "${here}" OUTPUT_VARIABLE text RESULT_VARIABLE code)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${source} could not be bundled")
  endif()
  if(text MATCHES "</(script|style)")
    message(FATAL_ERROR "${source} holds the end of its own element")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# digest(TEXT OUT): as a policy names it, 'sha256-...'. Three of the digest's hexadecimal figures are two of base 64.
function(digest text out)
  set(letters "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  string(SHA256 hex "${text}")
  string(APPEND hex "00")
  set(coded "")
  foreach(at RANGE 0 63 3)
    string(SUBSTRING "${hex}" ${at} 3 figures)
    math(EXPR high "0x${figures} >> 6")
    math(EXPR low "0x${figures} & 63")
    string(SUBSTRING "${letters}" ${high} 1 first)
    string(SUBSTRING "${letters}" ${low} 1 second)
    string(APPEND coded "${first}${second}")
  endforeach()
  string(SUBSTRING "${coded}" 0 43 coded)
  set(${out} "'sha256-${coded}='" PARENT_SCOPE)
endfunction()

# embedded(BYTES-AS-HEX OUT): the elements of a C array.
function(embedded hex out)
  string(REGEX REPLACE "(..)" "0x\\1," elements "${hex}")
  string(REGEX REPLACE "((0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,))" "\\1\n" elements "${elements}")
  set(${out} "${elements}" PARENT_SCOPE)
endfunction()

bundled("src/${PAGE}/main.ts" script)
bundled("src/${PAGE}/style.css" style)
file(READ "${here}/vendor/uplot/uPlot.iife.min.js" uplot)
digest("${script}" script_digest)
digest("${style}" style_digest)
digest("${uplot}" uplot_digest)
file(READ "${here}/src/${PAGE}/page.html" page)
set(policy "default-src 'none'; base-uri 'none'; form-action 'none'; \
script-src ${uplot_digest} ${script_digest}; style-src ${style_digest}")
string(REPLACE "{{policy}}" "${policy}" page "${page}")
string(REPLACE "{{style}}" "${style}" page "${page}")
string(REPLACE "{{uplot}}" "${uplot}" page "${page}")
string(REPLACE "{{script}}" "${script}" page "${page}")
file(WRITE "${PLACE}/${PAGE}.html" "${page}")

file(READ "${PLACE}/${PAGE}.html" hex HEX)
embedded("${hex}" elements)
file(WRITE "${PLACE}/${PAGE}_page.cpp" "// Made from pages/src/${PAGE} by pages/bundle.cmake.
#include \"pages/page_templates.h\"

namespace vp {

static constexpr unsigned char bytes[] = {
${elements}};

std::string_view ${PAGE}_page_template() { return {reinterpret_cast<const char*>(bytes), sizeof bytes}; }

}  // namespace vp
")
