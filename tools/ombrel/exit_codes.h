// How the program ends.
#pragma once

namespace OMB::tool {

enum class ExitCode : int {
  Success = 0,
  Failure = 1,
  Usage = 2,
  BadKey = 3,
  File = 4,
  Image = 5,
  Manifest = 6,
  Plugin = 7,
  Model = 8,
  Runner = 9,
  Run = 10,
  Check = 11,
  Package = 12,
  Trust = 13,
  NotAuthentic = 14,
  OtherKey = 15,
  Fence = 16,
};

struct ExitMeaning {
  ExitCode code;
  const char* meaning;
};

/// What a user is told about the codes, in their order.
inline constexpr ExitMeaning exitMeanings[] = {
    {ExitCode::Success, "all went well"},
    {ExitCode::Failure, "something unforeseen, such as no memory; the message tells"},
    {ExitCode::Usage, "the command line is wrong"},
    {ExitCode::BadKey, "the key is not 32 hexadecimal digits, or others may read its file"},
    {ExitCode::File, "a file cannot be read or written, or does not qualify"},
    {ExitCode::Image, "an image cannot be read"},
    {ExitCode::Manifest, "the plug-in's manifest is wrong"},
    {ExitCode::Plugin, "the plug-in did not load"},
    {ExitCode::Model, "the model did not load"},
    {ExitCode::Runner, "the runner is not ready"},
    {ExitCode::Run, "the network does not take the image, or failed on it"},
    {ExitCode::Check, "a dependency was refused, did not load, or runs without a proof"},
    {ExitCode::Package, "a file is not as the manifest has it; nothing was loaded"},
    {ExitCode::Trust,
     "the manifest is not signed by the trusted key, or too old; nothing was loaded"},
    {ExitCode::NotAuthentic, "a model pair is not the one that was authenticated"},
    {ExitCode::OtherKey, "the pair's tags were made with another key"},
    {ExitCode::Fence, "the engine crashed or hung behind the fence, or there is no fence"},
};

}  // namespace OMB::tool
