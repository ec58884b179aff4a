#include <hdf5.h>

#include <stdexcept>
#include <utility>

#include "tools/tavuctl/StackFile.h"

namespace tavu::tavuctl {

namespace {

// An HDF5 identifier and the function that closes it.
class Id {
public:
    Id(hid_t id, herr_t (*close)(hid_t), const char* what) : id_(id), close_(close) {
        if (id_ < 0) {
            throw std::runtime_error(std::string("HDF5 could not ") + what);
        }
    }
    ~Id() { release(); }
    Id(const Id&) = delete;
    Id& operator=(const Id&) = delete;

    operator hid_t() const { return id_; }
    // Closes now, for the last step of a file, where a failure must be told.
    void close(const char* what) {
        if (close_(std::exchange(id_, -1)) < 0) {
            throw std::runtime_error(std::string("HDF5 could not ") + what);
        }
    }

private:
    void release() {
        if (id_ >= 0) {
            close_(id_);
        }
    }
    hid_t id_;
    herr_t (*close_)(hid_t);
};

void check(herr_t status, const char* what) {
    if (status < 0) {
        throw std::runtime_error(std::string("HDF5 could not ") + what);
    }
}

void numberAttribute(hid_t object, const char* name, hid_t type, const void* value) {
    const Id space(H5Screate(H5S_SCALAR), H5Sclose, "make an attribute");
    const Id attribute(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), H5Aclose,
                       "make an attribute");
    check(H5Awrite(attribute, type, value), "write an attribute");
}

void attribute(hid_t object, const char* name, uint32_t value) {
    numberAttribute(object, name, H5T_NATIVE_UINT32, &value);
}

void attribute(hid_t object, const char* name, uint64_t value) {
    numberAttribute(object, name, H5T_NATIVE_UINT64, &value);
}

// Variable-length UTF-8, which readers take as text rather than bytes.
void attribute(hid_t object, const char* name, const std::string& value) {
    const Id type(H5Tcopy(H5T_C_S1), H5Tclose, "make a string type");
    check(H5Tset_size(type, H5T_VARIABLE), "make a string type");
    check(H5Tset_cset(type, H5T_CSET_UTF8), "make a string type");
    const char* text = value.c_str();
    numberAttribute(object, name, type, &text);
}

class Hdf5Stack : public StackFile {
public:
    Hdf5Stack(const std::filesystem::path& path, const StackDescription& d)
        : file_(create(path), H5Fclose, ("create " + path.string()).c_str()),
          frames_(makeDataset(d)),
          height_(d.height),
          width_(d.width) {
        attribute(frames_, "device", d.device);
        attribute(frames_, "port", d.port);
        attribute(frames_, "file_id", d.fileId);
        attribute(frames_, "stream_id", d.streamId);
        attribute(frames_, "camera", d.camera);
        attribute(frames_, "name", d.name);
        attribute(frames_, "timestamp", d.timestamp);
        attribute(frames_, "duration", d.duration);
        attribute(frames_, "num_frames", d.numFrames);
        attribute(frames_, "num_dropped_frames", d.numDroppedFrames);
        attribute(frames_, "first_frame", d.firstFrame);
    }

    // The frame's bytes are the chunk as stored: little-endian, unfiltered. Writing it whole,
    // past the type conversion and the chunk cache, is what lets the file keep up with the disk.
    void append(std::span<const uint8_t> pixels) override {
        const hsize_t offset[3] = {next_++, 0, 0};
        check(H5Dwrite_chunk(frames_, H5P_DEFAULT, 0, offset, static_cast<size_t>(width_) * height_ * 2,
                             pixels.data()),
              "write a frame");
    }

    void finish(uint64_t written) override {
        const hsize_t dims[3] = {written, height_, width_};
        check(H5Dset_extent(frames_, dims), "set the frame count");
        frames_.close("close the dataset");
        file_.close("close the file");
    }

private:
    static hid_t create(const std::filesystem::path& path) {
        // Failures become exceptions with our own text; the library's stack dump would only
        // repeat them on standard error.
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
        return H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    }

    Id makeDataset(const StackDescription& d) {
        const hsize_t dims[3] = {d.frames, d.height, d.width};
        // Room to end short of the planned count when the export is interrupted.
        const hsize_t maxDims[3] = {H5S_UNLIMITED, d.height, d.width};
        const hsize_t chunk[3] = {1, d.height, d.width};
        const Id space(H5Screate_simple(3, dims, maxDims), H5Sclose, "make the dataspace");
        const Id properties(H5Pcreate(H5P_DATASET_CREATE), H5Pclose, "make dataset properties");
        check(H5Pset_chunk(properties, 3, chunk), "set the chunk size");
        check(H5Pset_fill_time(properties, H5D_FILL_TIME_NEVER), "set the fill time");
        return Id(H5Dcreate2(file_, "frames", H5T_STD_U16LE, space, H5P_DEFAULT, properties, H5P_DEFAULT),
                  H5Dclose, "make the dataset");
    }

    Id file_;
    Id frames_;
    hsize_t next_ = 0;
    hsize_t height_;
    hsize_t width_;
};

}  // namespace

std::unique_ptr<StackFile> createHdf5Stack(const std::filesystem::path& path, const StackDescription& description) {
    return std::make_unique<Hdf5Stack>(path, description);
}

}  // namespace tavu::tavuctl
