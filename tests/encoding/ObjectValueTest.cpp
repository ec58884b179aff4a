#include "encoding/ObjectValue.h"
#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>

namespace tavu::test {
namespace {

using T = ObjectType;

std::vector<ObjectValue> oneOfEachType() {
    std::vector<ObjectValue> values;
    values.push_back(ObjectValue());
    values.push_back(ObjectValue::negative(-1));
    values.push_back(ObjectValue::positive(1));
    values.push_back(ObjectValue::string("abc"));
    values.push_back(ObjectValue::boolean(true));
    values.push_back(ObjectValue::floating(0.5));
    values.push_back(ObjectValue::blobCopy("xy", 2));
    values.push_back(ObjectValue::map(0));
    values.push_back(ObjectValue::array(0));
    return values;
}

TEST(ObjectValueTest, AccessorsRefuseEveryOtherTagWithTheirText) {
    struct Accessor {
        const char* text;
        std::set<T> accepted;
        std::function<void(ObjectValue&)> call;
    };
    const std::vector<Accessor> accessors = {
        {"Object type is not positive integer, but positive integer expected.", {T::PositiveInteger},
         [](auto& v) { v.asPositive(); }},
        {"Object type is not negative integer, but negative integer expected.", {T::NegativeInteger},
         [](auto& v) { v.asNegative(); }},
        {"Object type is not bool, but bool expected.", {T::Bool}, [](auto& v) { v.asBool(); }},
        {"Object type is not float, but float expected.", {T::Float}, [](auto& v) { v.asFloat(); }},
        {"Object type is not string, but string expected.", {T::String}, [](auto& v) { v.asString(); }},
        {"Object type is not blob, but blob expected.", {T::Blob}, [](auto& v) { v.blobData(); }},
        {"Object type is not blob, but blob expected.", {T::Blob}, [](auto& v) { v.blobSize(); }},
        {"Object type is not blob, but blob expected.", {T::Blob}, [](auto& v) { v.takeBlob(); }},
        {"Object does not have size, array/map/string/blob expected.", {T::String, T::Blob, T::Map, T::Array},
         [](auto& v) { v.size(); }},
        {"Object is not an array.", {T::Array}, [](auto& v) { v.arrayAppend(ObjectValue()); }},
        {"Object is not a map.", {T::Map}, [](auto& v) { v.mapContains("k"); }},
        {"Object is not a map.", {T::Map}, [](auto& v) { v.mapIndexOf("k"); }},
        {"Object is not a map.", {T::Map}, [](auto& v) { v.mapAppend("k", ObjectValue()); }},
    };
    for (const Accessor& accessor : accessors) {
        for (ObjectValue& value : oneOfEachType()) {
            SCOPED_TRACE(testing::Message() << accessor.text << " on tag " << static_cast<int>(value.type()));
            if (accessor.accepted.count(value.type())) {
                EXPECT_NO_THROW(accessor.call(value));
            } else {
                EXPECT_THAT([&] { accessor.call(value); }, throwsRuntime(accessor.text));
            }
        }
    }
}

TEST(ObjectValueTest, MapsKeepOrderAndDuplicatesAndReportMissingKeysAndIndices) {
    ObjectValue map = ObjectValue::map(4);
    EXPECT_FALSE(map.mapContains("a"));
    EXPECT_EQ(map.mapIndexOf("a"), -1);
    EXPECT_THAT([&] { map.mapAt("a"); }, throwsRuntime("Key not found in map."));
    EXPECT_THAT([&] { map.mapKeyAt(0); }, throwsOutOfRange("Index out of map range."));
    EXPECT_THAT([&] { map.mapValueAt(0); }, throwsOutOfRange("Index out of map range."));
    EXPECT_THAT([&] { map.arrayAt(0); }, throwsRuntime("Object is not an array."));
    EXPECT_THAT([] { ObjectValue::array(4).arrayAt(0); }, throwsOutOfRange("Index out of array range."));

    map.mapAppend("a", ObjectValue::positive(1));
    map.mapAppend("b", ObjectValue::positive(2));
    map.mapAppend("a", ObjectValue::positive(3));
    EXPECT_EQ(map.mapAt("a").asPositive(), 1u);
    EXPECT_EQ(map.mapIndexOf("b"), 1);
    EXPECT_FALSE(map.mapContains("A"));
    EXPECT_STREQ(map.mapKeyAt(2), "a");
    map.mapAt("b") = ObjectValue::string("two");
    EXPECT_STREQ(map.mapValueAt(1).asString(), "two");
}

TEST(ObjectValueTest, AsInt64ChecksTheNegativeTagOnly) {
    EXPECT_THAT([] { ObjectValue::negative(-1).asInt64(); },
                throwsRuntime("Integer value out of range, expected int64_t."));
    EXPECT_EQ(ObjectValue::negative(5).asInt64(), 5);
    EXPECT_EQ(ObjectValue::positive(UINT64_MAX).asInt64(), -1);
    EXPECT_THAT([] { ObjectValue::floating(1.0).asInt64(); },
                throwsRuntime("Object type is not an integer, but an integer was expected."));
}

}  // namespace
}  // namespace tavu::test
