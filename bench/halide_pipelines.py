"""Compiles the conversions that Halide is compared in: python bench/halide_pipelines.py FOLDER

Writes halide_pipelines.a and halide_pipelines.h, for the processor of this machine. Each pipeline takes a buffer of the
source and one of the target, both of the dimensions (pixel, channel) for planes and (channel, pixel) for pixels, and is
called halide_SOURCE_to_TARGET_CHANNELS.
"""
import pathlib
import sys

import halide as hl

TYPES = {"u8": hl.UInt(8), "f32": hl.Float(32)}


def convert(source, target, sample):
    if source == target:
        return sample
    if target == "f32":
        return hl.cast(hl.Float(32), sample) * hl.f32(1 / 255)
    return hl.cast(hl.UInt(8), hl.cast(hl.Int(32), sample * hl.f32(255)))


def pipeline(source, target, to_planes, channels):
    """One pass over the pixels, whose width in vectors was the fastest of 8 to 64 in all jobs, or within 5 % of it."""
    image = hl.ImageParam(TYPES[source], 2, "image")
    pixel, channel = hl.Var("pixel"), hl.Var("channel")
    name = f"halide_{source}_to_{target}_{channels}"
    converted = hl.Func(name)
    if to_planes:
        converted[pixel, channel] = convert(source, target, image[channel, pixel])
        pixels, planes = image, converted.output_buffer()
    else:
        converted[channel, pixel] = convert(source, target, image[pixel, channel])
        pixels, planes = converted.output_buffer(), image
    pixels.dim(0).set_bounds(0, channels)
    pixels.dim(1).set_stride(channels)
    planes.dim(1).set_bounds(0, channels)
    width = 8 if to_planes and (source == "f32" or channels == 4) else 16
    converted.reorder(channel, pixel).bound(channel, 0, channels).unroll(channel).vectorize(pixel, width)
    return converted, image, name


def main():
    folder = pathlib.Path(sys.argv[1])
    target = hl.get_host_target().with_feature(hl.TargetFeature.NoAsserts)
    modules = []
    for job in (("u8", "f32", True), ("f32", "u8", False), ("u8", "u8", True), ("f32", "f32", True)):
        for channels in (3, 4):
            converted, image, name = pipeline(*job, channels)
            modules.append(converted.compile_to_module([image], name, target))
    hl.link_modules("halide_pipelines", modules).compile({
        hl.OutputFileType.static_library: str(folder / "halide_pipelines.a"),
        hl.OutputFileType.c_header: str(folder / "halide_pipelines.h"),
    })


main()
