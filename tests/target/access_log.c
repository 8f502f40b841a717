/* A plugin of the emulator: sees every access of a program to the register window, in order. While
 * the control word is not 0 it writes each to the log, as the simulated board writes its trace, and
 * gives the registers the values that the simulated board's trace has for them: the n-th load from
 * an address gets the value of the n-th load there. A new number there starts again.
 *
 * Debian ships no header of the plugin interface (version 1), so its functions are declared here.
 */
#include <fcntl.h>
#include <pthread.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

typedef uint64_t qemu_plugin_id_t;
typedef uint32_t qemu_plugin_meminfo_t;
typedef struct qemu_info_t qemu_info_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
struct qemu_plugin_hwaddr;
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t,
                                           void (*)(qemu_plugin_id_t, struct qemu_plugin_tb*));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb*);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb*, size_t);
uint64_t qemu_plugin_insn_vaddr(const struct qemu_plugin_insn*);
void qemu_plugin_register_vcpu_mem_cb(struct qemu_plugin_insn*,
                                      void (*)(unsigned, qemu_plugin_meminfo_t, uint64_t, void*),
                                      int, int, void*);
struct qemu_plugin_hwaddr* qemu_plugin_get_hwaddr(qemu_plugin_meminfo_t, uint64_t);
uint64_t qemu_plugin_hwaddr_phys_addr(const struct qemu_plugin_hwaddr*);
bool qemu_plugin_mem_is_store(qemu_plugin_meminfo_t);
unsigned qemu_plugin_mem_size_shift(qemu_plugin_meminfo_t);

enum { kNoFlags = 0, kLoadsAndStores = 3, kWordShift = 2 };

/* Physical addresses, and where the machine's memory begins. */
#define MEMORY 0x40000000u
#define SHARED 0xa7e00000u
#define CONTROL 0xa7e02000u
#define WINDOW 0xa8000000u
#define WINDOW_BYTES 0x3f00000u

typedef struct {
  uint32_t value;
  uint32_t next; /* number of the next load from this address, 0 if there is none */
} Load;

static volatile uint32_t* registers; /* the window */
static volatile uint32_t* control;
static const char* log_path;
static const char* replay_path;
static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER; /* guards all that follows */
static uint32_t running; /* the number in the control word, 0: idle */
static FILE* out;
static Load* loads;                       /* from number 1 */
static uint32_t coming[WINDOW_BYTES / 4]; /* number of the next load from each word */
static uint32_t last_of[WINDOW_BYTES / 4];

static void read_replay(void) {
  FILE* replay = fopen(replay_path, "r");
  uint32_t count = 0;
  size_t room = 0;
  char kind;
  uint32_t address;
  uint32_t value;

  memset(coming, 0, sizeof coming);
  memset(last_of, 0, sizeof last_of);
  while (replay != NULL && fscanf(replay, " %c %x %x", &kind, &address, &value) == 3) {
    if (kind != 'R' || address >= WINDOW_BYTES) {
      continue;
    }
    if (++count >= room) {
      room = room * 2 + 1024;
      loads = realloc(loads, room * sizeof *loads);
    }
    loads[count] = (Load){value, 0};
    *(last_of[address / 4] != 0 ? &loads[last_of[address / 4]].next : &coming[address / 4]) = count;
    last_of[address / 4] = count;
  }
  if (replay != NULL) {
    fclose(replay);
  }
}

static void start(uint32_t number) {
  running = number;
  if (out != NULL) {
    fclose(out);
    out = NULL;
  }
  if (number != 0) {
    read_replay();
    out = fopen(log_path, "w");
    setvbuf(out, NULL, _IOLBF, 0);
  }
}

static void record(uint32_t offset, bool store, unsigned size_shift) {
  const uint32_t word = offset / 4;

  fprintf(out, "%c %08x %08x%s\n", store ? 'W' : 'R', offset, registers[word],
          size_shift == kWordShift && offset % 4 == 0 ? "" : " not an aligned word");
  if (!store && coming[word] != 0) {
    coming[word] = loads[coming[word]].next;
  }
  if (coming[word] != 0) {
    registers[word] = loads[coming[word]].value;
  }
}

/* Called behind each access. */
static void on_access(unsigned cpu, qemu_plugin_meminfo_t info, uint64_t address, void* data) {
  struct qemu_plugin_hwaddr* where = qemu_plugin_get_hwaddr(info, address);
  const uint64_t offset = where != NULL ? qemu_plugin_hwaddr_phys_addr(where) - WINDOW : UINT64_MAX;

  (void)cpu;
  (void)data;
  if (offset >= WINDOW_BYTES) {
    return;
  }
  pthread_mutex_lock(&mutex);
  if (*control != running) {
    start(*control);
  }
  if (running != 0) {
    record((uint32_t)offset, qemu_plugin_mem_is_store(info), qemu_plugin_mem_size_shift(info));
  }
  pthread_mutex_unlock(&mutex);
}

static void on_translation(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
    struct qemu_plugin_insn* instruction = qemu_plugin_tb_get_insn(block, i);
    if (qemu_plugin_insn_vaddr(instruction) >> 63 == 0) { /* a program's, not the kernel's */
      qemu_plugin_register_vcpu_mem_cb(instruction, on_access, kNoFlags, kLoadsAndStores, NULL);
    }
  }
}

#define VISIBLE __attribute__((visibility("default")))
VISIBLE int qemu_plugin_version = 1;

/* Arguments: memory=FILE, log=FILE, replay=FILE. */
VISIBLE int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc,
                                char** argv) {
  int memory = -1;
  void* mapping;

  (void)info;
  for (int i = 0; i < argc; ++i) {
    if (strncmp(argv[i], "memory=", 7) == 0) {
      memory = open(argv[i] + 7, O_RDWR);
    } else if (strncmp(argv[i], "log=", 4) == 0) {
      log_path = strdup(argv[i] + 4);
    } else if (strncmp(argv[i], "replay=", 7) == 0) {
      replay_path = strdup(argv[i] + 7);
    }
  }
  mapping = mmap(NULL, WINDOW + WINDOW_BYTES - SHARED, PROT_READ | PROT_WRITE, MAP_SHARED, memory,
                 SHARED - MEMORY);
  if (mapping == MAP_FAILED || log_path == NULL || replay_path == NULL) {
    return -1;
  }
  registers = (uint32_t*)mapping + (WINDOW - SHARED) / 4;
  control = (uint32_t*)mapping + (CONTROL - SHARED) / 4;
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
  return 0;
}
