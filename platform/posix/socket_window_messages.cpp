// Registered window messages between the processes of one user, by Unix
// datagram sockets: each window binds "<handle>.sock" in a meeting folder that
// only the user may enter, beside "<handle>.info" with its class and title.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/window_messages.h"

namespace quillorn::platform {

namespace {

constexpr std::uint32_t kMagic = 0x514D5347;  // "QMSG"
constexpr int kPidShift = 20;                 // handle = pid << 20 | window number

struct Datagram {
  std::uint32_t magic;
  std::uint32_t msg;
  std::uint64_t wparam;
  std::int64_t lparam;
};

[[noreturn]] void ThrowErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

bool SameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}

std::string HandleName(WindowHandle handle) {
  char name[32];
  std::snprintf(name, sizeof name, "%016llx", static_cast<unsigned long long>(handle));
  return name;
}

// Creates the folder for this user only, or accepts it if it already is one.
std::string PrepareMeetingFolder(std::string folder) {
  if (folder.empty()) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/')
      folder = std::string(runtime) + "/quillorn";
    else
      folder = "/tmp/quillorn-" + std::to_string(getuid());
  }
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) ThrowErrno("Cannot create " + folder);
  struct stat info {};
  if (lstat(folder.c_str(), &info) != 0) ThrowErrno("Cannot read " + folder);
  // Another user's folder (or a link planted there) must not receive our posts.
  if (!S_ISDIR(info.st_mode) || info.st_uid != getuid() || (info.st_mode & 0077) != 0)
    throw std::runtime_error("The message folder " + folder + " is not this user's own");
  return folder;
}

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("Socket path too long: " + path);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

struct Receiver {
  MessageHandler handler;
};

class SocketWindow final : public MessageWindow {
 public:
  SocketWindow(const std::string& folder, WindowHandle handle, std::string_view class_name, std::string_view title,
               MainLoop& loop, MessageHandler handler)
      : handle_(handle),
        socket_path_(folder + "/" + HandleName(handle) + ".sock"),
        info_path_(folder + "/" + HandleName(handle) + ".info"),
        receiver_(std::make_shared<Receiver>(Receiver{std::move(handler)})) {
    // The info file first: a window that can be found can also be posted to
    // once its socket is bound, and FindWindow checks the socket too.
    const std::string temp = info_path_ + ".new";
    {
      std::ofstream info(temp, std::ios::binary | std::ios::trunc);
      info << class_name << '\n' << title;
      if (!info) throw std::runtime_error("Cannot write " + temp);
    }
    if (std::rename(temp.c_str(), info_path_.c_str()) != 0) ThrowErrno("Cannot write " + info_path_);

    socket_ = std::make_unique<Fd>(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket_->get() < 0) ThrowErrno("socket");
    const sockaddr_un address = AddressOf(socket_path_);
    unlink(socket_path_.c_str());  // left by a dead process that had our pid
    if (bind(socket_->get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      unlink(info_path_.c_str());
      errno = error;
      ThrowErrno("Cannot bind " + socket_path_);
    }
    int pipe_fds[2];
    if (pipe2(pipe_fds, O_CLOEXEC) != 0) ThrowErrno("pipe");
    stop_read_ = std::make_unique<Fd>(pipe_fds[0]);
    stop_write_ = std::make_unique<Fd>(pipe_fds[1]);
    reader_ = std::thread([this, &loop] { Read(loop); });
  }

  ~SocketWindow() override {
    unlink(socket_path_.c_str());
    unlink(info_path_.c_str());
    const char stop = 1;
    while (write(stop_write_->get(), &stop, 1) < 0 && errno == EINTR) {
    }
    reader_.join();
    receiver_->handler = nullptr;  // deliveries already queued find nobody
  }

  WindowHandle Handle() const override { return handle_; }

 private:
  void Read(MainLoop& loop) {
    std::weak_ptr<Receiver> weak = receiver_;
    pollfd fds[2] = {{socket_->get(), POLLIN, 0}, {stop_read_->get(), POLLIN, 0}};
    for (;;) {
      if (poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        return;
      }
      if (fds[1].revents != 0) return;
      if ((fds[0].revents & POLLIN) == 0) continue;
      Datagram datagram{};
      const ssize_t got = recv(socket_->get(), &datagram, sizeof datagram, MSG_DONTWAIT);
      if (got != static_cast<ssize_t>(sizeof datagram) || datagram.magic != kMagic) continue;
      const WindowMessage message{datagram.msg, datagram.wparam, datagram.lparam};
      loop.Post([weak, message] {
        if (auto receiver = weak.lock(); receiver && receiver->handler) receiver->handler(message);
      });
    }
  }

  WindowHandle handle_;
  std::string socket_path_;
  std::string info_path_;
  std::shared_ptr<Receiver> receiver_;
  std::unique_ptr<Fd> socket_;
  std::unique_ptr<Fd> stop_read_;
  std::unique_ptr<Fd> stop_write_;
  std::thread reader_;
};

class SocketWindowMessages final : public WindowMessages {
 public:
  explicit SocketWindowMessages(const std::string& folder)
      : folder_(PrepareMeetingFolder(folder)), sender_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    if (sender_.get() < 0) ThrowErrno("socket");
  }

  std::uint32_t RegisterMessage(std::string_view name) override { return RegisteredMessageNumber(name); }

  std::unique_ptr<MessageWindow> CreateWindow(std::string_view class_name, std::string_view title, MainLoop& loop,
                                              MessageHandler handler) override {
    static std::atomic<std::uint32_t> next_window{1};
    const std::uint32_t number = next_window.fetch_add(1) & ((1u << kPidShift) - 1);
    const WindowHandle handle = (static_cast<WindowHandle>(getpid()) << kPidShift) | number;
    return std::make_unique<SocketWindow>(folder_, handle, class_name, title, loop, std::move(handler));
  }

  bool Post(WindowHandle window, std::uint32_t msg, std::uint64_t wparam, std::int64_t lparam) override {
    const Datagram datagram{kMagic, msg, wparam, lparam};
    if (window != kBroadcastWindow) return Send(window, datagram);
    for (const WindowHandle handle : ListWindows()) Send(handle, datagram);
    return true;
  }

  WindowHandle FindWindow(std::string_view class_name, std::string_view title) override {
    for (const WindowHandle handle : ListWindows()) {
      std::ifstream info(folder_ + "/" + HandleName(handle) + ".info", std::ios::binary);
      std::string window_class, window_title;
      if (!info || !std::getline(info, window_class)) continue;
      std::getline(info, window_title, '\0');
      if ((class_name.empty() || SameText(class_name, window_class)) && (title.empty() || title == window_title))
        return handle;
    }
    return 0;
  }

 private:
  // Windows whose process still runs; what a dead process left is cleared away.
  std::vector<WindowHandle> ListWindows() {
    std::vector<WindowHandle> handles;
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder_.c_str()), closedir);
    if (!dir) return handles;
    while (const dirent* entry = readdir(dir.get())) {
      const std::string name = entry->d_name;
      if (name.size() != 21 || name.compare(16, 5, ".sock") != 0) continue;
      char* end = nullptr;
      const WindowHandle handle = std::strtoull(name.substr(0, 16).c_str(), &end, 16);
      if (handle == 0) continue;
      const pid_t pid = static_cast<pid_t>(handle >> kPidShift);
      if (kill(pid, 0) != 0 && errno == ESRCH) {
        Forget(handle);
        continue;
      }
      handles.push_back(handle);
    }
    std::sort(handles.begin(), handles.end());  // oldest process first, like a z-order would be stable
    return handles;
  }

  bool Send(WindowHandle handle, const Datagram& datagram) {
    const sockaddr_un address = AddressOf(folder_ + "/" + HandleName(handle) + ".sock");
    for (;;) {
      if (sendto(sender_.get(), &datagram, sizeof datagram, MSG_DONTWAIT | MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), sizeof address) == static_cast<ssize_t>(sizeof datagram))
        return true;
      if (errno == EINTR) continue;
      // Nobody bound there any more: a window of a process that died.
      if (errno == ECONNREFUSED) Forget(handle);
      // A full queue drops the post, as a full message queue does.
      return false;
    }
  }

  void Forget(WindowHandle handle) {
    unlink((folder_ + "/" + HandleName(handle) + ".sock").c_str());
    unlink((folder_ + "/" + HandleName(handle) + ".info").c_str());
  }

  std::string folder_;
  Fd sender_;
};

}  // namespace

std::unique_ptr<WindowMessages> CreateWindowMessages(const std::string& meeting_folder) {
  return std::make_unique<SocketWindowMessages>(meeting_folder);
}

}  // namespace quillorn::platform
