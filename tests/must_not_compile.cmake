# Statements that must not compile, each beside its twin that has to, for the reason to be the right one:
# cmake -DCOMPILER= -DSOURCE= -P must_not_compile.cmake
cmake_minimum_required(VERSION 3.25)
set(forbidden "OMB::Library copy = library" "OMB::PluginManager copy = manager" "OMB::Dependency none")
set(allowed "OMB::Library& a = library; OMB::PluginManager& b = manager; OMB::Dependency c(\"\", {})")
foreach(call IN ITEMS
    "OMB::EBackend::FindByName(\"\")" "OMB::HashCheckerFactory().Create()"
    "OMB::ImageUtils::TransformImage(bytes, floats, 1, 1, 1, {}, {})"
    "OMB::ImageUtils::TransformImage(bytes, 1, 1, 1, OMB::ImageUtils::EFormat::U8)"
    "OMB::Utility::LoadLibraryA(\"\", library)" "checker.Check({}, \"\")" "config.Read(\"\")" "library.load()"
    "manager.Load(plugin)" "model.CreateRunner()" "model.IsLoaded()" "plugin.Clone()" "plugin.Load(\"\")"
    "runner.IsReady()" "runner.Run(nullptr)")
  list(APPEND forbidden "${call}")
  string(APPEND allowed "; (void)${call}")
endforeach()

function(compile statement)
  execute_process(COMMAND ${COMPILER} -std=c++20 -fsyntax-only -Werror=unused-result -I${SOURCE}/include
                          "-DSTATEMENT=${statement}" ${SOURCE}/tests/must_not_compile.cpp
                  RESULT_VARIABLE status ERROR_VARIABLE text)
  set(status ${status} PARENT_SCOPE)
  set(text "${text}" PARENT_SCOPE)
endfunction()

compile("${allowed}")
if(NOT status EQUAL 0)
  message(SEND_ERROR "what is allowed does not compile:\n${text}")
endif()
foreach(statement IN LISTS forbidden)
  compile("${statement}")
  if(status EQUAL 0)
    message(SEND_ERROR "${statement}: must not compile")
  endif()
endforeach()
