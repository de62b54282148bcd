"""EfficientNet-Lite0 as an OpenVINO model, built from its PyTorch weights without PyTorch."""

import numpy as np
import openvino as ov
from openvino import opset13 as op
from openvino.preprocess import PrePostProcessor

# Repeats and first stride of each stage. Kernel sizes and channel counts are in the weights.
STAGES = [(1, 1), (2, 2), (2, 2), (3, 2), (3, 1), (4, 2), (1, 1)]
BN_EPSILON = 1e-3


class _Layers:
    """Makes layers from named weights, and keeps account of the names."""

    def __init__(self, weights):
        self._weights = weights
        self.unused = {name for name in weights if not name.endswith("num_batches_tracked")}

    def take(self, name):
        self.unused.discard(name)
        return self._weights[name]

    def convolution(self, x, name, norm, stride=1):
        """Convolution with its batch normalisation folded in, in double precision."""
        kernel = self.take(f"{name}.weight").astype(np.float64)
        deviation = np.sqrt(self.take(f"{norm}.running_var").astype(np.float64) + BN_EPSILON)
        gain = self.take(f"{norm}.weight") / deviation
        shift = self.take(f"{norm}.bias") - self.take(f"{norm}.running_mean") * gain
        kernel = (kernel * gain[:, None, None, None]).astype(np.float32)
        make = op.convolution
        if kernel.shape[1] == 1:  # depthwise: a group for each channel
            make, kernel = op.group_convolution, kernel[:, None]
        y = make(x, op.constant(kernel), [stride] * 2, [0, 0], [0, 0], [1, 1], "same_upper")
        return op.add(y, op.constant(shift.astype(np.float32).reshape(1, -1, 1, 1)))

    def activated(self, x, name, norm, stride=1):
        return op.clamp(self.convolution(x, name, norm, stride), 0.0, 6.0)

    def block(self, x, name, stride, expands, is_repeat):
        """Inverted bottleneck; a repeated one adds its input to its output."""
        y = self.activated(x, f"{name}._expand_conv", f"{name}._bn0") if expands else x
        y = self.activated(y, f"{name}._depthwise_conv", f"{name}._bn1", stride)
        y = self.convolution(y, f"{name}._project_conv", f"{name}._bn2")
        return op.add(x, y) if is_repeat else y

    def classes(self, x):
        x = op.reduce_mean(x, op.constant(np.array([2, 3], np.int64)), False)
        x = op.matmul(x, op.constant(self.take("_fc.weight")), False, True)
        return op.softmax(op.add(x, op.constant(self.take("_fc.bias").reshape(1, -1))), 1)


def _with_normalisation(model):
    """Makes the usual (v - 127) / 128 a part of the model, whose input then is 0..1."""
    steps = PrePostProcessor(model)
    steps.input().tensor().set_layout(ov.Layout("NCHW"))
    steps.input().model().set_layout(ov.Layout("NCHW"))
    steps.input().preprocess().mean(127 / 255).scale(128 / 255)
    return steps.build()


def build(weights, width, height):
    """Gives the model 1,3,height,width -> 1,1000: RGB in 0..1, probabilities out.

    The network pools over the whole picture, so the size is free; it was trained on 224 x 224.
    """
    layers = _Layers(weights)
    image = op.parameter([1, 3, height, width], np.float32, name="image")
    x = layers.activated(image, "_conv_stem", "_bn0", stride=2)
    index = 0
    for stage, (repeats, first_stride) in enumerate(STAGES):
        for repeat in range(repeats):
            stride = first_stride if repeat == 0 else 1
            x = layers.block(x, f"_blocks.{index}", stride, expands=stage > 0, is_repeat=repeat > 0)
            index += 1
    x = layers.classes(layers.activated(x, "_conv_head", "_bn1"))
    if layers.unused:
        raise ValueError(f"weights of another network: {sorted(layers.unused)[:5]} are left over")
    x.set_friendly_name("probabilities")
    x.get_output_tensor(0).set_names({"probabilities"})
    return _with_normalisation(ov.Model([x], [image], "efficientnet-lite0"))
