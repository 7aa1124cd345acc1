// SPDX-License-Identifier: Apache-2.0
import java.io.BufferedInputStream;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import java.util.zip.ZipEntry;
import org.apache.commons.compress.archivers.zip.ParallelScatterZipCreator;
import org.apache.commons.compress.archivers.zip.ZipArchiveEntry;
import org.apache.commons.compress.archivers.zip.ZipArchiveOutputStream;

/** Packs a directory with the parallel ZIP writer of Apache Commons Compress: ParallelZip ARCHIVE DIRECTORY. */
public final class ParallelZip {
  private ParallelZip() {}

  public static void main(String[] arguments) throws Exception {
    Path root = Path.of(arguments[1]);
    ParallelScatterZipCreator creator = new ParallelScatterZipCreator();
    List<Path> files;
    try (Stream<Path> found = Files.walk(root)) {
      files = found.filter(Files::isRegularFile).sorted().collect(Collectors.toList());
    }
    for (Path file : files) {
      ZipArchiveEntry entry = new ZipArchiveEntry(root.relativize(file).toString());
      entry.setMethod(ZipEntry.DEFLATED);
      creator.addArchiveEntry(entry, () -> open(file));
    }
    try (ZipArchiveOutputStream archive = new ZipArchiveOutputStream(new File(arguments[0]))) {
      creator.writeTo(archive);
    }
  }

  private static InputStream open(Path file) {
    try {
      return new BufferedInputStream(Files.newInputStream(file));
    } catch (IOException error) {
      throw new IllegalStateException(error);
    }
  }
}
