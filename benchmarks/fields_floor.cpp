// The floor for forms of many fields, for a program that keeps a copy of each key and value: reads
// the form, cuts it into its fields, copies the texts, and joins them to a form again.
// It decodes no escape, makes none, looks for no key that came before, and sends nothing. Memory
// costs it next to nothing: one piece of large pages, of which it never gives any back.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory_resource>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

std::string_view readForm() {
  const size_t size = std::strtoul(std::getenv("CONTENT_LENGTH"), nullptr, 10);
  char* const form = static_cast<char*>(std::malloc(size + 1));
  size_t done = 0;
  for (ssize_t came; form && (came = read(STDIN_FILENO, form + done, size - done)) > 0;)
    done += static_cast<size_t>(came);
  return {form, done};
}

void* largePages(size_t size) {
  void* const start =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED)
    std::exit(1);
  madvise(start, size, MADV_HUGEPAGE);
  return start;
}

}  // namespace

int main() {
  std::string_view form = readForm();
  std::string joined;
  joined.reserve(form.size() + 1);
  const size_t room = 12 * form.size() + (1 << 20);  // more than is asked for below
  std::pmr::monotonic_buffer_resource memory(largePages(room), room);
  const auto copied = [&memory](std::string_view text) {
    char* const copy = static_cast<char*>(memory.allocate(text.size(), 1));
    return std::string_view(copy, text.copy(copy, text.size()));
  };
  std::pmr::vector<std::pair<std::string_view, std::string_view>> fields(&memory);
  fields.reserve(form.size() / 16);
  while (!form.empty()) {
    const std::string_view field = form.substr(0, form.find('&'));
    const std::string_view key = field.substr(0, field.find('='));
    fields.emplace_back(copied(key), copied(field.substr(key.size() + 1)));
    form.remove_prefix(field.size() < form.size() ? field.size() + 1 : field.size());
  }
  for (const auto& [key, value] : fields)
    joined.append(key).append(1, '=').append(value).append(1, '&');
  const std::string answer = "Content-type: text/plain\r\n\r\n" + std::to_string(joined.size());
  if (write(STDOUT_FILENO, answer.data(), answer.size()) < 0)
    return 1;
  _exit(0);  // as fast as can be
}
