"""The CenterFace network as an OpenVINO model of fixed size, face centres its only output."""

import openvino as ov
from openvino.preprocess import PrePostProcessor


def convert(onnx_path, width, height):
    """Gives the model 1,3,height,width -> 1,1,height/4,width/4: RGB in 0..1, scores out."""
    original = ov.Core().read_model(onnx_path)
    original.reshape({original.input(0): ov.PartialShape([1, 3, height, width])})
    # The other outputs (sizes, offsets, landmarks) go, and what only feeds them goes with them.
    model = ov.Model([original.outputs[0].node], original.get_parameters(), "face")
    image, scores = model.inputs[0], model.outputs[0]
    image.node.set_friendly_name("image")
    image.get_tensor().set_names({"image"})
    # Outputs are called by the node that feeds the result.
    scores.node.input_value(0).get_node().set_friendly_name("face")
    scores.get_tensor().set_names({"face"})
    steps = PrePostProcessor(model)
    steps.input().tensor().set_layout(ov.Layout("NCHW"))
    steps.input().model().set_layout(ov.Layout("NCHW"))
    steps.input().preprocess().scale([1 / 255] * 3)  # the network itself wants 0..255
    return steps.build()
