#include "lint/global_names.h"

#include <iterator>
#include <set>
#include <sstream>

namespace qarn {
namespace rpc {

namespace {

// What protobuf's and Boost's headers bring with g++ 12 and clang 14 on Debian
// 12, at C++11 and at C++20: g++ refuses `namespace NAME {}` behind them, and
// of types both compilers refuse `class NAME {};` too.
constexpr char kTypes[] = R"(
FILE blkcnt64_t blkcnt_t blksize_t caddr_t clock_t clockid_t comparison_fn_t
cookie_close_function_t cookie_io_functions_t cookie_read_function_t
cookie_seek_function_t cookie_write_function_t cpu_set_t daddr_t dev_t div_t
drand48_data error_t fd_mask fd_set fpos64_t fpos_t fsblkcnt64_t fsblkcnt_t
fsfilcnt64_t fsfilcnt_t fsid_t gid_t id_t ino64_t ino_t int16_t int32_t
int64_t int8_t int_fast16_t int_fast32_t int_fast64_t int_fast8_t
int_least16_t int_least32_t int_least64_t int_least8_t intmax_t intptr_t
itimerspec key_t lconv ldiv_t lldiv_t locale_t loff_t max_align_t mbstate_t
mode_t nlink_t off64_t off_t pid_t pthread_attr_t pthread_barrier_t
pthread_barrierattr_t pthread_cond_t pthread_condattr_t pthread_key_t
pthread_mutex_t pthread_mutexattr_t pthread_once_t pthread_rwlock_t
pthread_rwlockattr_t pthread_spinlock_t pthread_t ptrdiff_t quad_t random_data
register_t sched_param sigset_t size_t socklen_t ssize_t suseconds_t time_t
timer_t timespec timeval timex tm u_char u_int u_int16_t u_int32_t u_int64_t
u_int8_t u_long u_quad_t u_short uid_t uint uint16_t uint32_t uint64_t uint8_t
uint_fast16_t uint_fast32_t uint_fast64_t uint_fast8_t uint_least16_t
uint_least32_t uint_least64_t uint_least8_t uintmax_t uintptr_t ulong
useconds_t ushort va_list wctrans_t wctype_t wint_t
)";

constexpr char kOthers[] = R"(
a64l abort abs access acct alarm arc4random asctime asprintf atexit atof atoi
atol atoll basename bcmp bcopy brk bsearch btowc bzero calloc chdir chown
chroot clearenv clearerr clock clone close closefrom confstr crypt ctermid
ctime cuserid daemon daylight difftime div dprintf drand48 dup dup2 dup3
duplocale dysize eaccess ecvt endusershell environ erand48 euidaccess execl
execle execlp execv execve execveat execvp execvpe exit faccessat fchdir
fchown fchownat fclose fcloseall fcvt fdatasync fdopen feof ferror fexecve
fflush ffs ffsl ffsll fgetc fgetpos fgetpos64 fgets fgetwc fgetws fileno
flockfile fmemopen fopen fopen64 fopencookie fork fpathconf fprintf fputc
fputs fputwc fputws fread free freelocale freopen freopen64 fscanf fseek
fseeko fseeko64 fsetpos fsetpos64 fsync ftell ftello ftello64 ftruncate
ftruncate64 ftrylockfile funlockfile fwide fwprintf fwrite fwscanf gcvt getc
getchar getcpu getcwd getdate getdelim getdomainname getdtablesize getegid
getentropy getenv geteuid getgid getgroups gethostid gethostname getline
getloadavg getlogin getopt getpagesize getpass getpgid getpgrp getpid getppid
getpt getresgid getresuid getsid getsubopt gettid getuid getusershell getw
getwc getwchar getwd gmtime grantpt index initstate isalnum isalpha isascii
isatty isblank iscntrl isctype isdigit isgraph islower isprint ispunct isspace
isupper iswalnum iswalpha iswblank iswcntrl iswctype iswdigit iswgraph
iswlower iswprint iswpunct iswspace iswupper iswxdigit isxdigit jrand48 l64a
labs lchown lcong48 ldiv link linkat llabs lldiv localeconv localtime lockf
lockf64 lrand48 lseek lseek64 malloc mblen mbrlen mbrtowc mbsinit mbsnrtowcs
mbsrtowcs mbstowcs mbtowc memccpy memchr memcmp memcpy memfrob memmem memmove
mempcpy memrchr memset mkdtemp mkostemp mkostemp64 mkostemps mkostemps64
mkstemp mkstemp64 mkstemps mkstemps64 mktemp mktime mrand48 nanosleep
newlocale nice nrand48 obstack optarg opterr optind optopt pathconf pause
pclose perror pipe pipe2 popen pread pread64 printf profil pselect ptsname
putc putchar putenv puts putw putwc putwchar pwrite pwrite64 qecvt qfcvt qgcvt
qsort rand random rawmemchr read readlink readlinkat realloc reallocarray
realpath remove rename renameat renameat2 revoke rewind rindex rmdir rpmatch
sbrk scanf seed48 select setbuf setbuffer setdomainname setegid setenv seteuid
setgid sethostid sethostname setlinebuf setlocale setlogin setns setpgid
setpgrp setregid setresgid setresuid setreuid setsid setstate setuid
setusershell setvbuf sigevent sleep snprintf sprintf srand srand48 srandom
sscanf stpcpy stpncpy strcasecmp strcasestr strcat strchr strchrnul strcmp
strcoll strcpy strcspn strdup strerror strfromd strfromf strfromf32
strfromf32x strfromf64 strfromf64x strfroml strfry strftime strlen strncasecmp
strncat strncmp strncpy strndup strnlen strpbrk strptime strrchr strsep
strsignal strspn strstr strtod strtof strtof32 strtof32x strtof64 strtof64x
strtok strtol strtold strtoll strtoq strtoul strtoull strtouq strverscmp
strxfrm swab swprintf swscanf symlink symlinkat sync syncfs syscall sysconf
system tcgetpgrp tcsetpgrp tempnam time timegm timelocal timezone tmpfile
tmpfile64 tmpnam toascii tolower toupper towctrans towlower towupper truncate
truncate64 ttyname ttyslot tzname tzset ualarm ungetc ungetwc unlink unlinkat
unlockpt unsetenv unshare uselocale usleep valloc vasprintf vdprintf vfork
vfprintf vfscanf vfwprintf vfwscanf vhangup vprintf vscanf vsnprintf vsprintf
vsscanf vswprintf vswscanf vwprintf vwscanf wcpcpy wcpncpy wcrtomb wcscasecmp
wcscat wcschr wcschrnul wcscmp wcscoll wcscpy wcscspn wcsdup wcsftime wcslen
wcsncasecmp wcsncat wcsncmp wcsncpy wcsnlen wcsnrtombs wcspbrk wcsrchr
wcsrtombs wcsspn wcsstr wcstod wcstof wcstof32 wcstof32x wcstof64 wcstof64x
wcstok wcstol wcstold wcstoll wcstombs wcstoq wcstoul wcstoull wcstouq wcswcs
wcswidth wcsxfrm wctob wctomb wctrans wctype wcwidth wmemchr wmemcmp wmemcpy
wmemmove wmempcpy wmemset wprintf write wscanf
)";

std::set<std::string> Words(const char* text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

}  // namespace

GlobalKind GlobalName(const std::string& name) {
  static const std::set<std::string> types = Words(kTypes);
  static const std::set<std::string> others = Words(kOthers);
  if (types.count(name) != 0) {
    return GlobalKind::kType;
  }
  return others.count(name) != 0 ? GlobalKind::kOther : GlobalKind::kNone;
}

}  // namespace rpc
}  // namespace qarn
