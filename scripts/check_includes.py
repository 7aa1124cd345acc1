#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that every file includes the standard headers of the std:: names that it uses, itself or in its own header.

Another release of a compiler's library, or of a library underneath, includes other headers by chance. A name that
several headers define by the standard is satisfied by any one of them; an unknown name is reported, so that it gets
its line below. With --fix the missing includes are added; clang-format sorts them.

usage: check_includes.py [--fix] [ROOT]
"""
import re
import sys
from pathlib import Path

FOLDERS = ("include", "src", "tool", "tests", "fuzz", "bench", "examples")

# Header: what it defines of the names in use, and of those that may come. The first header that lists a name is the one
# that --fix adds.
DEFINED = {
    "algorithm": "adjacent_find all_of any_of binary_search clamp copy copy_backward copy_if copy_n count "
    "count_if equal equal_range fill fill_n find find_end find_first_of find_if find_if_not "
    "for_each generate includes is_sorted lexicographical_compare lower_bound max max_element "
    "merge min min_element minmax mismatch none_of nth_element partial_sort partition "
    "remove_copy_if remove_if replace replace_if reverse rotate search set_difference "
    "set_intersection set_union sort stable_partition stable_sort transform unique upper_bound",
    "array": "array to_array",
    "bitset": "bitset",
    "atomic": "atomic atomic_bool memory_order_acquire memory_order_relaxed memory_order_release",
    "bit": "bit_cast bit_ceil bit_width byteswap countl_zero countr_zero endian has_single_bit popcount",
    "cctype": "isalnum isalpha isdigit isprint isspace isxdigit tolower toupper",
    "charconv": "chars_format from_chars to_chars",
    "chrono": "chrono chrono_literals",
    "clocale": "localeconv setlocale",
    "cmath": "abs ceil floor llround log lround pow round sqrt",
    "compare": "partial_ordering strong_ordering weak_ordering",
    "concepts": "convertible_to derived_from integral invocable same_as unsigned_integral",
    "condition_variable": "condition_variable condition_variable_any cv_status",
    "csignal": "raise sig_atomic_t signal",
    "cstddef": "byte max_align_t nullptr_t ptrdiff_t size_t to_integer",
    "cstdint": "int16_t int32_t int64_t int8_t intmax_t intptr_t uint16_t uint32_t uint64_t uint8_t uintmax_t "
    "uintptr_t",
    "cstdio": "FILE fclose feof ferror fflush fgets fopen fprintf fputc fputs fread fscanf fseek fwrite getc perror "
    "printf putchar puts remove rename scanf size_t snprintf",
    "cstdlib": "_Exit abort abs atexit calloc exit free getenv malloc mbstowcs quick_exit realloc size_t "
    "strtol strtoul strtoull system",
    "cstring": "memchr memcmp memcpy memmove memset size_t strchr strcmp strerror strlen strncmp strrchr strstr",
    "ctime": "clock clock_t gmtime localtime mktime size_t strftime time time_t tm",
    "cwchar": "mbrtowc mbstate_t size_t wcrtomb wint_t",
    "cwctype": "iswalpha iswcntrl iswprint iswspace towlower",
    "deque": "deque",
    "exception": "current_exception exception exception_ptr get_terminate make_exception_ptr "
    "rethrow_exception set_terminate terminate uncaught_exceptions",
    "filesystem": "filesystem",
    "fstream": "filebuf fstream ifstream ofstream",
    "functional": "bind_front cref equal_to function greater hash identity invoke less mem_fn not_fn plus ref "
    "reference_wrapper",
    "future": "async future future_status launch packaged_task promise shared_future",
    "iomanip": "put_time quoted setfill setprecision setw",
    "ios": "boolalpha dec fixed hex ios ios_base left oct right streamoff streampos streamsize",
    "iostream": "cerr cin clog cout",
    "istream": "istream ws",
    "iterator": "advance back_inserter begin cbegin cend data distance empty end inserter istream_iterator "
    "istreambuf_iterator iterator_traits make_move_iterator next ostreambuf_iterator prev rbegin "
    "rend reverse_iterator size ssize",
    "limits": "numeric_limits",
    "list": "list",
    "locale": "codecvt ctype isspace locale tolower toupper",
    "map": "map multimap",
    "memory": "addressof align allocator allocator_traits construct_at default_delete destroy_at "
    "dynamic_pointer_cast enable_shared_from_this make_shared make_unique make_unique_for_overwrite "
    "shared_ptr static_pointer_cast unique_ptr weak_ptr",
    "mutex": "adopt_lock call_once defer_lock lock_guard mutex once_flag recursive_mutex scoped_lock "
    "try_to_lock unique_lock",
    "new": "align_val_t bad_alloc bad_array_new_length get_new_handler launder nothrow nothrow_t set_new_handler",
    "numeric": "accumulate gcd iota lcm midpoint reduce",
    "optional": "bad_optional_access make_optional nullopt nullopt_t optional",
    "ostream": "endl flush ostream",
    "queue": "priority_queue queue",
    "random": "mt19937 mt19937_64 random_device seed_seq uniform_int_distribution",
    "ranges": "views",
    "regex": "regex regex_constants regex_iterator regex_match regex_replace regex_search smatch sregex_iterator",
    "semaphore": "binary_semaphore counting_semaphore",
    "set": "multiset set",
    "shared_mutex": "shared_lock shared_mutex",
    "source_location": "source_location",
    "span": "as_bytes as_writable_bytes dynamic_extent span",
    "sstream": "istringstream ostringstream stringbuf stringstream",
    "stdexcept": "domain_error invalid_argument length_error logic_error out_of_range overflow_error "
    "range_error runtime_error",
    "stop_token": "stop_callback stop_source stop_token",
    "streambuf": "streambuf",
    "string": "basic_string char_traits erase erase_if getline hash stod stoi stol stoll stoul stoull string "
    "string_literals to_string to_wstring u16string u32string u8string wstring",
    "string_view": "basic_string_view hash string_view string_view_literals u16string_view u32string_view "
    "u8string_view wstring_view",
    "system_error": "errc error_category error_code error_condition generic_category make_error_code "
    "system_category system_error",
    "thread": "jthread this_thread thread",
    "tuple": "apply forward_as_tuple get ignore make_tuple tie tuple tuple_element_t tuple_size_v",
    "type_traits": "conditional_t decay_t enable_if_t false_type integral_constant invoke_result_t "
    "is_base_of_v is_constant_evaluated is_convertible_v is_copy_assignable_v "
    "is_copy_constructible_v is_default_constructible_v is_enum_v is_integral_v "
    "is_invocable_r_v is_invocable_v is_move_assignable_v is_move_constructible_v "
    "is_nothrow_copy_constructible_v is_nothrow_move_assignable_v "
    "is_nothrow_move_constructible_v is_nothrow_swappable_v is_polymorphic_v is_same_v "
    "is_signed_v is_trivially_copyable_v is_unsigned_v is_void_v make_signed_t make_unsigned_t "
    "remove_const_t remove_cv_t remove_cvref_t remove_reference_t true_type type_identity_t "
    "underlying_type_t void_t",
    "typeinfo": "bad_cast type_info",
    "unordered_map": "unordered_map unordered_multimap",
    "unordered_set": "unordered_multiset unordered_set",
    "utility": "as_const cmp_equal cmp_greater cmp_less cmp_less_equal declval exchange forward in_place "
    "in_place_t in_place_type in_range index_sequence make_index_sequence make_pair move "
    "move_if_noexcept pair piecewise_construct swap to_underlying unreachable",
    "variant": "bad_variant_access get get_if holds_alternative monostate variant visit",
    "vector": "vector",
}
# Families that share what the standard, or inheritance, makes each member of them define.
STREAMS = "fstream iostream istream ostream sstream streambuf"
CONTAINERS = "array deque list map regex set span string string_view unordered_map unordered_set vector"
ALSO_DEFINED = {
    "ios ios_base streamsize streamoff streampos hex oct dec left right fixed boolalpha": STREAMS,
    "istream ws": "iosfwd iostream fstream sstream",
    "ostream": "iosfwd iostream fstream sstream",
    "endl flush": "iostream",
    "streambuf stringbuf filebuf ifstream ofstream istringstream ostringstream stringstream": "iosfwd",
    "begin cbegin cend data empty end rbegin rend size ssize": CONTAINERS,
    "get": "array utility",
    "initializer_list": "initializer_list utility " + CONTAINERS,
    "erase erase_if": "deque list map set unordered_map unordered_set vector",
}

INCLUDE = re.compile(r'^#include ([<"])([^>"]+)[>"]', re.MULTILINE)
# Comments and literals, which may hold anything; kept out by an alternative that matches before a name does.
TOKEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])+\''
    r"|\bstd::(?:ranges::)?(?P<name>\w+)|\b(?P<errno>errno)\b",
    re.DOTALL,
)


def headers_by_name():
    headers = {"errno": ["cerrno"]}
    for table in (DEFINED.items(), ((h, names) for names, hs in ALSO_DEFINED.items() for h in hs.split())):
        for header, names in table:
            for name in names.split():
                headers.setdefault(name, []).append(header)
    return headers


def names_of(text):
    """Each std:: name of the text, with the first line that uses it."""
    names = {}
    for match in TOKEN.finditer(text):
        name = match["name"] or match["errno"]
        if name:
            names.setdefault(name, text.count("\n", 0, match.start()) + 1)
    return names


def own_header(path, text, root):
    for quote, header in INCLUDE.findall(text):
        if quote == '"' and path.suffix == ".cpp" and Path(header).stem == path.stem:
            candidates = [path.parent / header, *(root / folder / header for folder in FOLDERS)]
            return next((c for c in candidates if c.exists()), None)
    return None


def system_includes(text):
    return {header for quote, header in INCLUDE.findall(text) if quote == "<"}


def missing_includes(path, root, headers):
    """Pairs of a line and a header, and pairs of a line and an unknown name."""
    text = path.read_text(encoding="utf-8")
    present = system_includes(text)
    own = own_header(path, text, root)
    if own:
        present |= system_includes(own.read_text(encoding="utf-8"))
    missing, unknown = {}, []
    for name, line in names_of(text).items():
        if name not in headers:
            unknown.append((line, name))
        elif not present & set(headers[name]):
            missing.setdefault(headers[name][0], (line, name))
    return missing, unknown


def add_includes(path, headers):
    text = path.read_text(encoding="utf-8")
    lines = "".join(f"#include <{header}>\n" for header in headers)
    system = re.search(r"^#include <", text, re.MULTILINE)
    start = system or re.search(r"\n\n(?=namespace|using)|^#pragma once\n\n", text, re.MULTILINE)
    at = system.start() if system else start.end()
    path.write_text(text[:at] + lines + ("" if system else "\n") + text[at:], encoding="utf-8")


def main():
    arguments = [a for a in sys.argv[1:] if a != "--fix"]
    root = Path(arguments[0] if arguments else ".").resolve()
    headers, faults, checked = headers_by_name(), [], 0
    for path in sorted(p for folder in FOLDERS for p in (root / folder).rglob("*.[ch]pp")):
        checked += 1
        missing, unknown = missing_includes(path, root, headers)
        if missing and "--fix" in sys.argv[1:]:
            add_includes(path, missing)
            missing = {}
        where = path.relative_to(root)
        faults += [f"{where}:{line}: std::{name} is in no list of scripts/check_includes.py" for line, name in unknown]
        faults += [f"{where}:{line}: {name} needs <{header}>" for header, (line, name) in missing.items()]
    print("\n".join(faults) or f"{checked} files include what they use of the standard library")
    return 1 if faults or not checked else 0


if __name__ == "__main__":
    sys.exit(main())
