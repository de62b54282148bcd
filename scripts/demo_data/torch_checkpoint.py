"""Reads a state dict that torch.save() wrote in its old stream form (not zip), with NumPy only.

The stream is five pickles in a row (magic, protocol, sizes of types, the dict itself, the keys of
the storages), then for each key a 64-bit element count and the elements, all little-endian.
"""

import collections
import pickle
import struct
from typing import NamedTuple

import numpy as np

MAGIC = 0x1950A86A20F9469CFC6C
DTYPES = {"FloatStorage": np.float32, "LongStorage": np.int64}


class _Tensor(NamedTuple):
    """Where a tensor's elements are: in a storage that follows later in the file."""

    dtype: type
    key: str
    offset: int
    shape: tuple
    strides: tuple  # in elements, as the offset


def _rebuild_tensor(storage, offset, shape, strides, *_):
    return _Tensor(*storage, offset, shape, strides)


class _Unpickler(pickle.Unpickler):
    """Knows only the few names that such a dict needs, so a doctored file cannot run code."""

    def find_class(self, module, name):
        if (module, name) == ("collections", "OrderedDict"):
            return collections.OrderedDict
        if (module, name) == ("torch._utils", "_rebuild_tensor_v2"):
            return _rebuild_tensor
        if module == "torch" and name in DTYPES:
            return DTYPES[name]
        raise pickle.UnpicklingError(f"unexpected name in checkpoint: {module}.{name}")

    def persistent_load(self, pid):
        kind, dtype, key = pid[:3]
        if kind != "storage":
            raise pickle.UnpicklingError(f"unexpected kind of reference in checkpoint: {kind}")
        return dtype, key


def _read_storage(file, dtype):
    (count,) = struct.unpack("<q", file.read(8))
    return np.frombuffer(file.read(count * np.dtype(dtype).itemsize), dtype)


def _elements(tensor, storage):
    flat = storage[tensor.offset :]
    strides = [stride * flat.itemsize for stride in tensor.strides]
    return np.ascontiguousarray(np.lib.stride_tricks.as_strided(flat, tensor.shape, strides))


def read_state_dict(path):
    """Gives the arrays of the checkpoint by name."""
    with open(path, "rb") as file:
        magic, _protocol, _sizes, tensors, keys = (_Unpickler(file).load() for _ in range(5))
        if magic != MAGIC:
            raise ValueError(f"{path}: not a checkpoint in torch's stream form")
        dtypes = {tensor.key: tensor.dtype for tensor in tensors.values()}
        storages = {key: _read_storage(file, dtypes[key]) for key in keys}
    return {name: _elements(tensor, storages[tensor.key]) for name, tensor in tensors.items()}
