# Run by the installation: writes what was installed, and the parts it is made of, as a list in the SPDX 2.3 format.
set(title ombrel)
if(CMAKE_INSTALL_COMPONENT STREQUAL "Development")  # nothing foreign is in it
  set(title ombrel-dev)
  set(OMBREL_PARTS "")
elseif(CMAKE_INSTALL_COMPONENT AND NOT CMAKE_INSTALL_COMPONENT STREQUAL "Runtime")  # another project's
  return()
endif()
set(OMBREL_PARTS_LIST ${OMBREL_PARTS_FOLDER}/${title}.spdx.json)

# Appends {"NAME": "VALUE", ...} of the pairs to the list variable, with EXTRA, which is JSON already, at its end.
function(ombrel_append_entry list extra)
  set(fields "")
  while(ARGN)
    list(POP_FRONT ARGN name value)
    string(REGEX REPLACE "([\"\\\\])" "\\\\\\1" value "${value}")
    list(APPEND fields "\"${name}\": \"${value}\"")
  endwhile()
  list(APPEND fields ${extra})
  list(JOIN fields ", " fields)
  string(APPEND ${list} ",\n    {${fields}}")
  set(${list} "${${list}}" PARENT_SCOPE)
endfunction()

set(packages "")
set(relations "")
macro(ombrel_append_package id name version licence location extra)
  ombrel_append_entry(packages "${extra}" SPDXID SPDXRef-${id} name "${name}" versionInfo "${version}"
    licenseDeclared "${licence}" licenseConcluded NOASSERTION copyrightText NOASSERTION downloadLocation "${location}")
endmacro()
ombrel_append_package(Package ${title} ${OMBREL_VERSION} NOASSERTION NOASSERTION "\"filesAnalyzed\": false")
ombrel_append_entry(relations "" spdxElementId SPDXRef-DOCUMENT relationshipType DESCRIBES
  relatedSpdxElement SPDXRef-Package)
foreach(part IN LISTS OMBREL_PARTS)
  string(REGEX MATCH "^(.*)\\|(.*)\\|(.*)\\|(.*)\\|(.*)$" part "${part}")
  foreach(field RANGE 1 5)
    set(part_${field} "${CMAKE_MATCH_${field}}")
  endforeach()
  set(extra "\"filesAnalyzed\": false, \"externalRefs\": [{\"referenceCategory\": \"PACKAGE-MANAGER\", \
\"referenceType\": \"purl\", \"referenceLocator\": \"${part_4}\"}]")
  if(part_5)
    string(APPEND extra ", \"checksums\": [{\"algorithm\": \"SHA256\", \"checksumValue\": \"${part_5}\"}]")
  endif()
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "" id "Part-${part_1}")
  ombrel_append_package(${id} "${part_1}" "${part_2}" "${part_3}" NOASSERTION "${extra}")
  ombrel_append_entry(relations "" spdxElementId SPDXRef-Package relationshipType CONTAINS
    relatedSpdxElement SPDXRef-${id})
endforeach()

set(files "")
set(number 0)
set(digests "")
list(REMOVE_DUPLICATES CMAKE_INSTALL_MANIFEST_FILES)
foreach(installed IN LISTS CMAKE_INSTALL_MANIFEST_FILES)
  if(NOT EXISTS "$ENV{DESTDIR}${installed}")  # a link to what the other component has
    continue()
  endif()
  cmake_path(RELATIVE_PATH installed BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE name)
  file(SHA1 "$ENV{DESTDIR}${installed}" sha1)  # which the format asks for
  file(SHA256 "$ENV{DESTDIR}${installed}" sha256)
  string(APPEND digests "${sha256} ${name}\n")
  math(EXPR number "${number} + 1")
  ombrel_append_entry(files "\"checksums\": [{\"algorithm\": \"SHA1\", \"checksumValue\": \"${sha1}\"}, \
{\"algorithm\": \"SHA256\", \"checksumValue\": \"${sha256}\"}]"
    SPDXID SPDXRef-File-${number} fileName "./${name}" licenseConcluded NOASSERTION copyrightText NOASSERTION)
  ombrel_append_entry(relations "" spdxElementId SPDXRef-Package relationshipType CONTAINS
    relatedSpdxElement SPDXRef-File-${number})
endforeach()

foreach(list IN ITEMS packages files relations)
  string(REGEX REPLACE "^," "" ${list} "${${list}}")
endforeach()
string(SHA256 identity "${digests}")
string(TIMESTAMP now "%Y-%m-%dT%H:%M:%SZ" UTC)
file(WRITE "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${OMBREL_PARTS_LIST}" "{
  \"spdxVersion\": \"SPDX-2.3\", \"dataLicense\": \"CC0-1.0\", \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${title}-${OMBREL_VERSION}\", \"documentNamespace\": \"urn:sha256:${identity}\",
  \"creationInfo\": {\"created\": \"${now}\", \"creators\": [\"Tool: ombrel-install\"]},
  \"packages\": [${packages}],
  \"files\": [${files}],
  \"relationships\": [${relations}]
}
")
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${CMAKE_INSTALL_PREFIX}/${OMBREL_PARTS_LIST}")
