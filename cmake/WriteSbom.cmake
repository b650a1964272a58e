# Writes what the module consists of and needs, as SPDX and as CycloneDX. Run by the build when the module is linked:
#
#   cmake -DSETTINGS=<file> -DMODULE=<the module> -DREADELF=<program> -DSPDX=<file> -DCYCLONEDX=<file> -P WriteSbom.cmake
#
# What is needed is read from the module itself. SETTINGS, written when the build is configured (Sbom.cmake), knows
# which software each library belongs to and its version.
cmake_minimum_required(VERSION 3.18)
include(${SETTINGS})

execute_process(COMMAND ${READELF} -dW ${MODULE} OUTPUT_VARIABLE dynamic)
string(REPLACE "[" "<" dynamic "${dynamic}") # of brackets, CMake would make lists in lists
string(REGEX MATCHALL "\\(NEEDED\\)[^<]*<[^]]+" needed "${dynamic}")
list(TRANSFORM needed REPLACE ".*<" "")
if(NOT needed)
  message(FATAL_ERROR "${READELF} finds no library that ${MODULE} needs: ${dynamic}")
endif()

# json(<variable> <text>...): the text as a JSON string.
function(json variable)
  string(CONCAT text ${ARGN})
  string(REPLACE "\\" "\\\\" text "${text}")
  string(REPLACE "\"" "\\\"" text "${text}")
  set(${variable} "\"${text}\"" PARENT_SCOPE)
endfunction()

# Of each library: its software (a name that KNOWN_<name> describes), or itself when nothing is known of it.
set(found "")
foreach(library IN LISTS needed)
  set(owner ${library})
  foreach(name IN LISTS KNOWN)
    if(library MATCHES "${KNOWN_${name}_PATTERN}")
      set(owner ${name})
    endif()
  endforeach()
  list(APPEND found ${owner})
  list(APPEND libraries_of_${owner} ${library})
endforeach()
foreach(name IN LISTS LINKED_STATICALLY)
  list(APPEND found ${name})
endforeach()
list(REMOVE_DUPLICATES found)
list(SORT found)

json(maker "${MAINTAINER_NAME}")
json(version "${VERSION}")
json(identity "https://${NAMESPACE_HOST}/spdx/zansnmpext-${VERSION}-${PROCESSOR}")
json(supplier "Organization: " "${MAINTAINER_NAME}" " (" "${MAINTAINER_ADDRESS}" ")")
json(address "${MAINTAINER_ADDRESS}")
json(contact "mailto:${SECURITY_CONTACT}")
json(processor "${PROCESSOR}")
json(number "${ENTERPRISE_NUMBER}")

set(spdx_packages "")
set(spdx_relations "")
set(cyclonedx_components "")
set(cyclonedx_needed "")
foreach(name IN LISTS found)
  string(MAKE_C_IDENTIFIER "${name}" id)
  string(REPLACE "_" "-" id "${id}")
  set(release "${KNOWN_${name}_VERSION}")
  json(title "${name}")
  json(bom_ref "${id}")
  list(JOIN libraries_of_${name} " " files)
  if(files)
    set(relation DYNAMIC_LINK)
    json(comment "needed as ${files}")
  else()
    set(relation STATIC_LINK)
    json(comment "linked into the module")
  endif()
  set(spdx_version "")
  set(cyclonedx_version "")
  set(spdx_references "")
  set(cyclonedx_cpe "")
  set(purl "pkg:generic/${name}")
  if(release)
    set(spdx_version ", \"versionInfo\": \"${release}\"")
    set(cyclonedx_version ", \"version\": \"${release}\"")
    string(APPEND purl "@${release}")
    if(KNOWN_${name}_CPE)
      set(cpe "cpe:2.3:a:${KNOWN_${name}_CPE}:${release}:*:*:*:*:*:*:*")
      set(spdx_references
        ", {\"referenceCategory\": \"SECURITY\", \"referenceType\": \"cpe23Type\", \"referenceLocator\": \"${cpe}\"}")
      set(cyclonedx_cpe ", \"cpe\": \"${cpe}\"")
    endif()
  endif()
  string(APPEND spdx_packages ",
    {\"SPDXID\": \"SPDXRef-${id}\", \"name\": ${title}${spdx_version}, \"comment\": ${comment},
     \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"licenseConcluded\": \"NOASSERTION\",
     \"licenseDeclared\": \"NOASSERTION\", \"copyrightText\": \"NOASSERTION\",
     \"externalRefs\": [
       {\"referenceCategory\": \"PACKAGE-MANAGER\", \"referenceType\": \"purl\", \"referenceLocator\": \"${purl}\"}${spdx_references}]}")
  string(APPEND spdx_relations ",
    {\"spdxElementId\": \"SPDXRef-zansnmpext\", \"relationshipType\": \"${relation}\", \"relatedSpdxElement\": \"SPDXRef-${id}\"}")
  string(APPEND cyclonedx_components ",
    {\"type\": \"library\", \"bom-ref\": ${bom_ref}, \"name\": ${title}${cyclonedx_version}, \"purl\": \"${purl}\"${cyclonedx_cpe},
     \"properties\": [{\"name\": \"zansnmpext:link\", \"value\": ${comment}}]}")
  string(APPEND cyclonedx_needed ", ${bom_ref}")
endforeach()
string(REGEX REPLACE "^," "" cyclonedx_components "${cyclonedx_components}")
string(REGEX REPLACE "^, " "" cyclonedx_needed "${cyclonedx_needed}")

file(WRITE ${SPDX} "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"zansnmpext\",
  \"documentNamespace\": ${identity},
  \"creationInfo\": {\"created\": \"${RELEASE_DATE}T00:00:00Z\", \"creators\": [\"Tool: cmake\"]},
  \"documentDescribes\": [\"SPDXRef-zansnmpext\"],
  \"hasExtractedLicensingInfos\": [
    {\"licenseId\": \"LicenseRef-firmware\",
     \"extractedText\": \"The terms are those of the agreement under which the router's firmware was delivered.\"}],
  \"packages\": [
    {\"SPDXID\": \"SPDXRef-zansnmpext\", \"name\": \"zansnmpext\", \"versionInfo\": ${version}, \"supplier\": ${supplier},
     \"primaryPackagePurpose\": \"LIBRARY\", \"comment\": \"built for ${PROCESSOR}, enterprise number ${ENTERPRISE_NUMBER}\",
     \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"licenseConcluded\": \"LicenseRef-firmware\",
     \"licenseDeclared\": \"LicenseRef-firmware\", \"copyrightText\": \"NOASSERTION\",
     \"externalRefs\": [
       {\"referenceCategory\": \"SECURITY\", \"referenceType\": \"url\", \"referenceLocator\": ${contact}}]}${spdx_packages}],
  \"relationships\": [
    {\"spdxElementId\": \"SPDXRef-DOCUMENT\", \"relationshipType\": \"DESCRIBES\", \"relatedSpdxElement\": \"SPDXRef-zansnmpext\"}${spdx_relations}]
}
")

file(WRITE ${CYCLONEDX} "{
  \"bomFormat\": \"CycloneDX\",
  \"specVersion\": \"1.5\",
  \"version\": 1,
  \"metadata\": {
    \"timestamp\": \"${RELEASE_DATE}T00:00:00Z\",
    \"component\": {
      \"type\": \"library\", \"bom-ref\": \"zansnmpext\", \"name\": \"zansnmpext\", \"version\": ${version},
      \"supplier\": {\"name\": ${maker}, \"contact\": [{\"email\": ${address}}]},
      \"licenses\": [{\"license\": {\"name\": \"that of the router's firmware\"}}],
      \"externalReferences\": [{\"type\": \"security-contact\", \"url\": ${contact}}],
      \"properties\": [
        {\"name\": \"zansnmpext:processor\", \"value\": ${processor}},
        {\"name\": \"zansnmpext:enterprise-number\", \"value\": ${number}}]}},
  \"components\": [${cyclonedx_components}],
  \"dependencies\": [{\"ref\": \"zansnmpext\", \"dependsOn\": [${cyclonedx_needed}]}]
}
")
