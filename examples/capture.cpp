// Classifies what a camera or a video gives: each frame of an OpenCV capture loop goes into the
// network's memory in one pass, and its best class is printed.
//
//   capture FOLDER MODEL 0                        a camera, by its number
//   capture FOLDER MODEL film.mp4                 a video
//   capture FOLDER MODEL frames/frame_%02d.png    a series of pictures, counted from 0
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <ombrel/ombrel.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace ImageUtils = OMB::ImageUtils;

cv::VideoCapture openSource(const std::string& source) {
  const bool isCamera = source.find_first_not_of("0123456789") == std::string::npos;
  cv::VideoCapture capture;
  const bool opened = isCamera ? capture.open(std::stoi(source)) : capture.open(source);
  if (!opened) throw std::runtime_error("cannot open " + source);
  return capture;
}

// Width and height of the network's images, from its input of {1, 3, height, width}.
cv::Size askForSize(OMB::INNModel& model) {
  auto* description = dynamic_cast<OMB::INNDescription*>(&model);
  if (description == nullptr) throw std::runtime_error("the backend does not tell the size");
  const std::vector<std::size_t> shape = description->GetInputs().at(0).shape;
  if (shape.size() != 4 || shape[1] != 3 || shape[2] == 0 || shape[3] == 0) {
    throw std::runtime_error("the network does not take images of three channels");
  }
  return {static_cast<int>(shape[3]), static_cast<int>(shape[2])};
}

// What OpenCV has as bytes, pixel after pixel and blue first, the network reads as floats of 0 to
// 1, plane after plane and red first: all of it is done on the way into the input memory. A network
// that was trained on normalised samples has its mean and deviation here.
const float* classify(const cv::Mat& image, OMB::INNRunner& runner) {
  if (image.type() != CV_8UC3 || !image.isContinuous()) {
    throw std::runtime_error("a frame is not of three bytes a pixel");
  }
  const ImageUtils::ChannelStatistics asTheyAre[3];
  auto* input = static_cast<float*>(runner.GetInputBuffer());
  if (!ImageUtils::NormalizeImage(image.data, input, image.cols, image.rows, 3,
                                  ImageUtils::ELayoutType::HWC, asTheyAre,
                                  ImageUtils::EChannelOrder::REVERSED)) {
    return nullptr;
  }
  // The record that says: the input memory is filled already.
  OMB::NNData filled(input, 3, image.cols, image.rows, ImageUtils::ELayoutType::CHW,
                     OMB::EDataType::FP32, true);
  return static_cast<const float*>(runner.Run(&filled));
}

void printBest(int number, const float* output, int count) {
  const float* best = std::max_element(output, output + count);
  std::printf("frame %d: class %d, %.2f\n", number, static_cast<int>(best - output),
              static_cast<double>(*best));
}

// Frames of another size are resized, everything else is done by classify.
int classifyAll(cv::VideoCapture& capture, OMB::INNModel& model, OMB::INNRunner& runner) {
  const cv::Size size = askForSize(model);
  cv::Mat frame, resized;  // which keep their memory from frame to frame
  for (int number = 0; capture.read(frame); ++number) {
    const bool fits = frame.size() == size;
    if (!fits) cv::resize(frame, resized, size, 0, 0, cv::INTER_AREA);
    const float* output = classify(fits ? frame : resized, runner);
    if (output == nullptr) return 4;
    printBest(number, output, model.GetOutputSize());
  }
  return 0;
}

int run(const std::filesystem::path& folder, const char* modelBase, const std::string& source) {
  const OMB::PackageVerifier package(
      folder.string(), OMB::readManifest((folder / "openvino.json").string()), {"openvino.json"});
  if (!package.IsProven()) return 1;
  const std::unique_ptr<OMB::DynamicPlugin> plugin = package.MakePlugin();
  OMB::PluginManager manager;
  manager.SetPluginsDirectory(folder.string().c_str());
  if (manager.Load(*plugin) != OMB::PLUGIN_OK) return 5;

  OMB::Config config;
  config.SetDataPath((folder / "").string());
  const OMB::CreateFunction create = plugin->GetCreateMethod();
  const std::unique_ptr<OMB::INNModel> model(create({modelBase, nullptr, 0, config}));
  if (!model->IsLoaded()) return 2;
  const std::unique_ptr<OMB::INNRunner> runner(model->CreateRunner());
  if (!runner->IsReady()) return 3;

  cv::VideoCapture capture = openSource(source);
  return classifyAll(capture, *model, *runner);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fprintf(
        stderr,
        "Usage: capture FOLDER MODEL SOURCE\n"
        "Runs MODEL.xml and MODEL.bin on each frame of SOURCE: a camera's number, a video, "
        "or a\nseries of pictures as frame_%%02d.png. FOLDER is where the backend is "
        "installed: DIR/lib/ombrel.\n");
    return 64;
  }
  try {
    return run(arguments[1], arguments[2], arguments[3]);
  } catch (const std::exception& error) {  // of the manifest, the engine, OpenCV, or from above
    std::fprintf(stderr, "capture: %s\n", error.what());
    return 6;
  }
}
