#include "json/Tree.h"

#include <vector>

namespace Json {
namespace {

// Most texts are no longer: the buffer grows by halves otherwise, from nothing.
constexpr std::size_t kUsualBytes = 512;

// Tells a handler of JSON events (a writer, a document) what a value consists of.
template <typename Handler>
class TreeWalk {
  public:
    explicit TreeWalk(Handler& handler) : handler_(handler) {}

    // False as soon as the handler refuses an event.
    bool Walk(const rapidjson::Value& root) {
        bool accepted = Enter(root);
        while (accepted && !openContainers_.empty()) {
            accepted = Advance(openContainers_.back());
        }
        return accepted;
    }

  private:
    struct OpenContainer {
        const rapidjson::Value* value;
        rapidjson::SizeType walked;
    };

    bool Advance(OpenContainer& container) {
        return container.value->IsObject() ? AdvanceObject(container) : AdvanceArray(container);
    }

    bool AdvanceObject(OpenContainer& container) {
        const rapidjson::Value& object = *container.value;
        if (container.walked == object.MemberCount()) {
            openContainers_.pop_back();
            return handler_.EndObject(object.MemberCount());
        }
        const auto member = object.MemberBegin() + static_cast<std::ptrdiff_t>(container.walked++);
        return handler_.Key(member->name.GetString(), member->name.GetStringLength(), true) && Enter(member->value);
    }

    bool AdvanceArray(OpenContainer& container) {
        const rapidjson::Value& array = *container.value;
        if (container.walked == array.Size()) {
            openContainers_.pop_back();
            return handler_.EndArray(array.Size());
        }
        return Enter(array[container.walked++]);
    }

    bool Enter(const rapidjson::Value& value) {
        switch (value.GetType()) {
            case rapidjson::kObjectType:
                openContainers_.push_back({&value, 0});
                return handler_.StartObject();
            case rapidjson::kArrayType:
                openContainers_.push_back({&value, 0});
                return handler_.StartArray();
            case rapidjson::kStringType:
                return handler_.String(value.GetString(), value.GetStringLength(), true);
            case rapidjson::kNumberType:
                return Number(value);
            case rapidjson::kNullType:
                return handler_.Null();
            default:
                return handler_.Bool(value.GetBool());
        }
    }

    bool Number(const rapidjson::Value& value) {
        if (value.IsInt64()) {
            return handler_.Int64(value.GetInt64());
        }
        return value.IsUint64() ? handler_.Uint64(value.GetUint64()) : handler_.Double(value.GetDouble());
    }

    Handler& handler_;
    std::vector<OpenContainer> openContainers_;
};

template <typename Handler>
bool Walk(const rapidjson::Value& root, Handler& handler) {
    return TreeWalk<Handler>(handler).Walk(root);
}

}  // namespace

void Copy(const rapidjson::Value& source, rapidjson::Value& target, rapidjson::Document::AllocatorType& allocator) {
    rapidjson::Document copy(&allocator);
    auto tellSource = [&source](rapidjson::Document& events) { return Walk(source, events); };
    copy.Populate(tellSource);
    target.Swap(copy);
}

std::string Text(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer(nullptr, kUsualBytes);
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    if (!Walk(value, writer)) {
        return {};
    }
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Json
