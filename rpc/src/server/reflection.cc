#include "server/reflection.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <grpc/grpc.h>

#include <chrono>
#include <set>
#include <string>

#include "common/payload.h"
#include "server/reflection.pb.h"

namespace CmnSys::Rpc {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;

namespace {

// Further calls are refused, because an answer to a client that does not take it stays in memory.
constexpr int kMostCalls = 64;
// Names are shorter, and an answer repeats its question.
constexpr std::size_t kLongestQuestion = std::size_t{16} << 10;

void AddWithImports(const FileDescriptor* file, std::set<const FileDescriptor*>* added,
                    ReflectionProto::Files* files) {
  if (!added->insert(file).second) return;
  FileDescriptorProto proto;
  file->CopyTo(&proto);
  files->add_file_descriptor_proto(proto.SerializeAsString());
  for (int i = 0; i < file->dependency_count(); ++i) {
    AddWithImports(file->dependency(i), added, files);
  }
}

void Fail(StatusCode code, const std::string& text, ReflectionProto::Response* response) {
  response->mutable_error_response()->set_error_code(static_cast<int>(code));
  response->mutable_error_response()->set_error_message(text);
}

// `file` is null when there is none.
void AnswerFile(const FileDescriptor* file, const std::string& asked_for,
                ReflectionProto::Response* response) {
  if (file == nullptr) {
    Fail(StatusCode::kNotFound, "this server knows no " + asked_for, response);
    return;
  }
  std::set<const FileDescriptor*> added;
  AddWithImports(file, &added, response->mutable_file_descriptor_response());
}

void AnswerExtension(const ReflectionProto::Extension& extension,
                     ReflectionProto::Response* response) {
  const DescriptorPool* pool = DescriptorPool::generated_pool();
  const Descriptor* type = pool->FindMessageTypeByName(extension.containing_type());
  const FieldDescriptor* field =
      type == nullptr ? nullptr : pool->FindExtensionByNumber(type, extension.extension_number());
  AnswerFile(field == nullptr ? nullptr : field->file(),
             "extension " + std::to_string(extension.extension_number()) + " of " +
                 extension.containing_type(),
             response);
}

void AnswerExtensionNumbers(const std::string& name, ReflectionProto::Response* response) {
  const DescriptorPool* pool = DescriptorPool::generated_pool();
  const Descriptor* type = pool->FindMessageTypeByName(name);
  if (type == nullptr) {
    Fail(StatusCode::kNotFound, "this server knows no message " + name, response);
    return;
  }
  std::vector<const FieldDescriptor*> extensions;
  pool->FindAllExtensions(type, &extensions);
  auto* numbers = response->mutable_all_extension_numbers_response();
  numbers->set_base_type_name(name);
  for (const FieldDescriptor* extension : extensions) {
    numbers->add_extension_number(extension->number());
  }
}

}  // namespace

ReflectionProto::Response Reflection::Answer(const ReflectionProto::Request& request) const {
  using ReflectionProto::Request;
  const DescriptorPool* pool = DescriptorPool::generated_pool();
  ReflectionProto::Response response;
  response.set_valid_host(request.host());
  *response.mutable_original_request() = request;
  switch (request.question_case()) {
    case Request::kFileByFilename:
      AnswerFile(pool->FindFileByName(request.file_by_filename()),
                 "file " + request.file_by_filename(), &response);
      break;
    case Request::kFileContainingSymbol:
      AnswerFile(pool->FindFileContainingSymbol(request.file_containing_symbol()),
                 "symbol " + request.file_containing_symbol(), &response);
      break;
    case Request::kFileContainingExtension:
      AnswerExtension(request.file_containing_extension(), &response);
      break;
    case Request::kAllExtensionNumbersOfType:
      AnswerExtensionNumbers(request.all_extension_numbers_of_type(), &response);
      break;
    case Request::kListServices:
      for (const std::string& name : services_) {
        response.mutable_list_services_response()->add_service()->set_name(name);
      }
      break;
    case Request::QUESTION_NOT_SET:
      Fail(StatusCode::kUnimplemented, "this server does not know the question", &response);
      break;
  }
  return response;
}

// One call: answers question after question until the client asks no more. Owns itself.
class ReflectionCall {
 public:
  ReflectionCall(std::shared_ptr<ServerCore> core, std::shared_ptr<Reflection> reflection,
                 RawService* raw_service, int index, grpc::ServerCompletionQueue* queue)
      : core_(std::move(core)),
        reflection_(std::move(reflection)),
        raw_service_(raw_service),
        index_(index),
        queue_(queue) {}

  void Listen() {
    const bool listening = core_->gate.Pass(
        [this] { raw_service_->RequestCall(index_, &context_, &stream_, queue_, &arrived_); });
    if (!listening) delete this;
  }

  void EndSlow(const char* what, std::chrono::milliseconds limit) {
    const std::string text =
        std::string(what) + std::to_string(limit.count()) + " ms, the server's limit";
    grpc_call_cancel_with_status(context_.c_call(), GRPC_STATUS_DEADLINE_EXCEEDED, text.c_str(),
                                 nullptr);
  }

 private:
  void OnArrived(bool ok) {
    if (!ok) {
      delete this;
      return;
    }
    core_->BeginStream(context_);
    ++reflection_->calls_;
    Reflection::Listen(core_, reflection_, raw_service_, index_, queue_);
    if (reflection_->calls_ > kMostCalls) {
      Finish({StatusCode::kResourceExhausted,
              "this server answers " + std::to_string(kMostCalls) +
                  " calls of its reflection at a time; try again later"});
    } else {
      Read();
    }
  }

  void Read() {
    place_ = reflection_->questions_.Begin(this);
    const bool reading =
        core_->gate.Pass([this] { stream_.Read(&bytes_, request_received_.Post()); });
    if (reading) return;
    reflection_->questions_.End(place_);
    OnFinished(false);
  }

  void OnRequest(bool ok) {
    reflection_->questions_.End(place_);
    if (!ok) {
      Finish({});  // The client asks no more, or is gone.
    } else if (bytes_.Length() > kLongestQuestion) {
      Finish({StatusCode::kResourceExhausted,
              "a question to the reflection has " + std::to_string(bytes_.Length()) +
                  " bytes; at most " + std::to_string(kLongestQuestion) + " are taken"});
    } else if (!core_->workers.Post([this] { Answer(); })) {
      OnFinished(false);
    }
  }

  void Answer() {
    ReflectionProto::Request request;
    Status status = ParseMessage(&bytes_, "request", &request);
    if (status.Ok()) {
      status = SerializeMessage(reflection_->Answer(request), "response",
                                core_->options.max_message_bytes, &bytes_);
    }
    if (!status.Ok()) {
      Finish(status);
      return;
    }
    place_ = reflection_->answers_.Begin(this);
    const bool writing = core_->gate.Pass([this] { stream_.Write(bytes_, written_.Post()); });
    if (writing) return;
    reflection_->answers_.End(place_);
    OnFinished(false);
  }

  void OnWritten(bool ok) {
    reflection_->answers_.End(place_);
    bytes_.Clear();
    if (ok) {
      Read();
    } else {
      OnFinished(false);  // The client is gone.
    }
  }

  void Finish(const Status& status) {
    const bool finishing = core_->gate.Pass([&] {
      stream_.Finish(ToGrpc(status, core_->options.max_error_text_bytes), finished_.Post());
    });
    if (!finishing) OnFinished(false);
  }

  void OnFinished(bool /*ok*/) {
    --reflection_->calls_;
    core_->EndStream();
    delete this;
  }

  const std::shared_ptr<ServerCore> core_;
  const std::shared_ptr<Reflection> reflection_;
  RawService* const raw_service_;
  const int index_;
  grpc::ServerCompletionQueue* const queue_;
  MemberTag<ReflectionCall, &ReflectionCall::OnArrived> arrived_{this};
  MemberTag<ReflectionCall, &ReflectionCall::OnRequest> request_received_{this};
  MemberTag<ReflectionCall, &ReflectionCall::OnWritten> written_{this};
  MemberTag<ReflectionCall, &ReflectionCall::OnFinished> finished_{this};
  grpc::ServerContext context_;
  RawStream stream_{&context_};
  grpc::ByteBuffer bytes_;
  TimeLimit<ReflectionCall>::Place place_;
};

void Reflection::EndSlow(const ServerOptions& options) {
  questions_.Check(options.request_timeout, [&](ReflectionCall* call) {
    call->EndSlow("no further question came within ", options.request_timeout);
  });
  answers_.Check(options.response_timeout, [&](ReflectionCall* call) {
    call->EndSlow("the answer was not received within ", options.response_timeout);
  });
}

void Reflection::Listen(const std::shared_ptr<ServerCore>& core,
                        const std::shared_ptr<Reflection>& reflection, RawService* raw_service,
                        int index, grpc::ServerCompletionQueue* queue) {
  (new ReflectionCall(core, reflection, raw_service, index, queue))->Listen();
}

}  // namespace CmnSys::Rpc
