"""The schema from its descriptor set, and messages that use all of it."""

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.descriptor import FieldDescriptor

INTEGERS = {
    FieldDescriptor.CPPTYPE_INT32: -(2**31) + 1,
    FieldDescriptor.CPPTYPE_INT64: -(2**63) + 1,
    FieldDescriptor.CPPTYPE_UINT32: 2**32 - 1,
    FieldDescriptor.CPPTYPE_UINT64: 2**64 - 1,
    FieldDescriptor.CPPTYPE_FLOAT: -1.5,
    FieldDescriptor.CPPTYPE_DOUBLE: 0.1,
    FieldDescriptor.CPPTYPE_BOOL: True,
}


class Schema:
    """The message types of a descriptor set, by full name."""

    def __init__(self, path):
        with open(path, "rb") as file:
            files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
        self.pool = descriptor_pool.DescriptorPool()
        for file in files:
            self.pool.Add(file)
        self._factory = message_factory.MessageFactory(self.pool)
        self.names = []
        for file in files:
            if not file.package.startswith("google."):
                self._add_names(file.package, file.message_type)

    def new(self, name):
        return self._factory.GetPrototype(self.pool.FindMessageTypeByName(name))()

    def full(self, name):
        """A message with all fields and extensions; its sub-messages are there but empty."""
        message = self.new(name)
        for field in message.DESCRIPTOR.fields:
            _set(field, message, field.name)
        for extension in self.pool.FindAllExtensions(message.DESCRIPTOR):
            message.Extensions[extension].SetInParent()
        return message

    def _add_names(self, scope, messages):
        for message in messages:
            self.names.append(scope + "." + message.name)
            self._add_names(self.names[-1], message.nested_type)


def _set(field, message, name):
    repeated = field.label == FieldDescriptor.LABEL_REPEATED
    if field.cpp_type == FieldDescriptor.CPPTYPE_MESSAGE:
        if repeated:
            getattr(message, name).add()
        else:
            getattr(message, name).SetInParent()
        return
    if field.cpp_type == FieldDescriptor.CPPTYPE_ENUM:
        value = field.enum_type.values[-1].number
    elif field.type == FieldDescriptor.TYPE_BYTES:
        value = b"\x00\xff" + name.encode()
    elif field.cpp_type == FieldDescriptor.CPPTYPE_STRING:
        value = "§ " + name
    else:
        value = INTEGERS[field.cpp_type]
    if repeated:
        getattr(message, name).extend([value, value])
    else:
        setattr(message, name, value)
