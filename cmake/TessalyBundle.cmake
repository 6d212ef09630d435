# tessaly_bundle(target
#   IDENTIFIER org.example.player   the application's identifier, in reverse domain-name form
#   [VERSION 1.2.3]                 the version that users see
#   [BUILD 42]                      the number of the build
#   [LOCALIZATIONS en fr...]        the languages of the application, the original one first
#   [INFORMATION key=value...]      further entries of the information dictionary
#   [POLKIT_ACTION org.example.player.authenticate]
#                                   the action under which the user is asked to authenticate
#   [POLKIT_MESSAGE "..."])         the question to the user if the system does not show the
#                                   application's own reason
#
# Puts these facts into the executable `target`, where `Tessaly::Bundle::main()` finds them. The facts are in an ELF
# note of their own. No code runs for them at the start, and neither stripping nor the removal of unused sections
# removes them.
#
# POLKIT_ACTION also writes the action's policy, by which users authenticate with their own password, and installs it in
# share/polkit-1/actions. The system looks in /usr/share only, so install with that prefix.

function(tessaly_bundle target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "IDENTIFIER;VERSION;BUILD;POLKIT_ACTION;POLKIT_MESSAGE" "LOCALIZATIONS;INFORMATION")
  if(NOT TARGET ${target})
    message(FATAL_ERROR "tessaly_bundle: there is no target ${target}")
  endif()
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "EXECUTABLE")
    message(FATAL_ERROR "tessaly_bundle: ${target} is not an executable")
  endif()
  get_target_property(existing ${target} TESSALY_BUNDLE_IDENTIFIER)
  if(existing)
    message(FATAL_ERROR "tessaly_bundle: ${target} has a bundle already")
  endif()
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tessaly_bundle: unknown arguments ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT ARG_IDENTIFIER MATCHES "^[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)*$")
    message(FATAL_ERROR "tessaly_bundle: IDENTIFIER must be letters, digits, '-' and '_' in parts separated by dots")
  endif()
  set_target_properties(${target} PROPERTIES TESSALY_BUNDLE_IDENTIFIER "${ARG_IDENTIFIER}")

  set(bytes "")
  _tessaly_bundle_append(bytes "CFBundleIdentifier" "${ARG_IDENTIFIER}")
  if(DEFINED ARG_VERSION)
    _tessaly_bundle_append(bytes "CFBundleShortVersionString" "${ARG_VERSION}")
  endif()
  if(DEFINED ARG_BUILD)
    _tessaly_bundle_append(bytes "CFBundleVersion" "${ARG_BUILD}")
  endif()
  foreach(localization IN LISTS ARG_LOCALIZATIONS)
    _tessaly_bundle_append(bytes "CFBundleLocalizations" "${localization}")
  endforeach()
  foreach(entry IN LISTS ARG_INFORMATION)
    if(NOT entry MATCHES "^([^=]+)=(.*)$")
      message(FATAL_ERROR "tessaly_bundle: INFORMATION takes key=value, not ${entry}")
    endif()
    _tessaly_bundle_append(bytes "${CMAKE_MATCH_1}" "${CMAKE_MATCH_2}")
  endforeach()

  if(DEFINED ARG_POLKIT_ACTION)
    _tessaly_bundle_append(bytes "PolkitAction" "${ARG_POLKIT_ACTION}")
    _tessaly_bundle_policy("${ARG_POLKIT_ACTION}" "${ARG_POLKIT_MESSAGE}")
  elseif(DEFINED ARG_POLKIT_MESSAGE)
    message(FATAL_ERROR "tessaly_bundle: POLKIT_MESSAGE without POLKIT_ACTION")
  endif()

  string(LENGTH "${bytes}" length)
  math(EXPR length "${length} / 2")
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE ",$" "" bytes "${bytes}")
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}-bundle.cpp")
  file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
// Made by tessaly_bundle.
asm(R"(
  .pushsection .note.Tessaly, "a", %note
  .balign 4
  .long 8
  .long @length@
  .long 1
  .asciz "Tessaly"
  .byte @bytes@
  .balign 4
  .popsection
)");
]])
  target_sources(${target} PRIVATE "${source}")
endfunction()

# Appends a key and a value, each with a terminating zero, to a list of hexadecimal bytes.
function(_tessaly_bundle_append variable key value)
  string(HEX "${key}" key)
  string(HEX "${value}" value)
  set(${variable} "${${variable}}${key}00${value}00" PARENT_SCOPE)
endfunction()

# Writes and installs the policy of an action that lets the user authenticate.
function(_tessaly_bundle_policy action message)
  if(NOT action MATCHES "^[a-z0-9-]+(\\.[a-z0-9-]+)+$")
    message(FATAL_ERROR "tessaly_bundle: POLKIT_ACTION must be small letters, digits and '-' in parts separated by dots")
  endif()
  if(message STREQUAL "")
    set(message "Authentication is required")
  endif()
  if(message MATCHES "]]>|\n")
    message(FATAL_ERROR "tessaly_bundle: POLKIT_MESSAGE must be one line without ]]>")
  endif()
  # The text is in a CDATA section, because polkit loses the text before an entity.
  set(policy "${CMAKE_CURRENT_BINARY_DIR}/${action}.policy")
  file(CONFIGURE OUTPUT "${policy}" @ONLY CONTENT [==[
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <action id="@action@">
    <description><![CDATA[@message@]]></description>
    <message><![CDATA[@message@]]></message>
    <defaults>
      <allow_any>auth_self</allow_any>
      <allow_inactive>auth_self</allow_inactive>
      <allow_active>auth_self</allow_active>
    </defaults>
  </action>
</policyconfig>
]==])
  install(FILES "${policy}" DESTINATION share/polkit-1/actions)
endfunction()
