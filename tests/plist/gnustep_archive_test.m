// Archives by GNUstep's archiver, rewritten by this system, read by GNUstep's unarchiver.
// usage: gnustep_archive_test ARCHIVE_REWRITER
// Left out are its known faults: it writes dates as bare property-list dates (which are read here, in whole
// seconds), cannot read references above 65,535, and breaks on integers above 2^63.
#import <Foundation/Foundation.h>

static int failures = 0;

static NSData *rewritten(NSString *program, NSData *archive) {
  NSTask *task = [[NSTask alloc] init];
  NSPipe *in = [NSPipe pipe], *out = [NSPipe pipe];
  [task setLaunchPath:program];
  [task setStandardInput:in];
  [task setStandardOutput:out];
  [task launch];
  uint32_t size = NSSwapHostIntToBig((unsigned)[archive length]);
  NSMutableData *frame = [NSMutableData dataWithBytes:&size length:4];
  [frame appendData:archive];
  [[in fileHandleForWriting] writeData:frame];
  [[in fileHandleForWriting] closeFile];
  NSData *answer = [[out fileHandleForReading] readDataToEndOfFile];
  [task waitUntilExit];
  [task release];
  return [answer length] < 4 ? nil : [answer subdataWithRange:NSMakeRange(4, [answer length] - 4)];
}

static BOOL sameMutability(id a, id b) {
  if ([a isKindOfClass:[NSArray class]]) {
    if ([a isKindOfClass:[NSMutableArray class]] != [b isKindOfClass:[NSMutableArray class]]) return NO;
    for (NSUInteger i = 0; i < [a count]; ++i) {
      if (!sameMutability([a objectAtIndex:i], [b objectAtIndex:i])) return NO;
    }
  }
  if ([a isKindOfClass:[NSDictionary class]]) {
    if ([a isKindOfClass:[NSMutableDictionary class]] != [b isKindOfClass:[NSMutableDictionary class]]) return NO;
    for (id key in a) {
      if (!sameMutability([a objectForKey:key], [b objectForKey:key])) return NO;
    }
  }
  return YES;
}

static void check(NSString *program, NSString *name, id object) {
  NSData *archive = [NSKeyedArchiver archivedDataWithRootObject:object];
  // The result of GNUstep's own archive: it returns some immutable arrays as mutable ones.
  id own = [NSKeyedUnarchiver unarchiveObjectWithData:archive];
  NSData *answer = rewritten(program, archive);
  id back = nil;
  @try {
    back = [NSKeyedUnarchiver unarchiveObjectWithData:answer];
  } @catch (NSException *exception) {
    NSLog(@"%@: %@", name, exception);
  }
  if (![back isEqual:object] || !sameMutability(own, back)) {
    ++failures;
    NSLog(@"FAILED %@:\n%@\n%@\n%@", name, object, back, answer);
  }
}

int main(int argc, char **argv) {
  NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
  if (argc != 2) return 2;
  NSString *program = [NSString stringWithUTF8String:argv[1]];
  NSMutableDictionary *photo = [NSMutableDictionary
      dictionaryWithObjectsAndKeys:@"Xq%3+", @"PhotoKey", [NSNumber numberWithInt:7], @"ModelId",
                                   [NSNumber numberWithDouble:-12.25], @"latitude",
                                   [NSNumber numberWithBool:YES], @"flag", [NSNull null], @"none",
                                   [NSData dataWithBytes:"abc" length:3], @"data",
                                   [NSDate dateWithTimeIntervalSinceReferenceDate:1000], @"date",
                                   [NSString stringWithUTF8String:"z\xC3\xBCrich \xF0\x9F\x98\x80"], @"text", nil];
  check(program, @"a mutable dictionary", photo);
  check(program, @"an immutable dictionary", [NSDictionary dictionaryWithDictionary:photo]);
  check(program, @"a reply", [NSDictionary dictionaryWithObject:[NSMutableArray arrayWithObjects:photo, photo, nil]
                                                         forKey:@"result"]);
  check(program, @"an empty array", [NSArray array]);
  check(program, @"a text", @"text");
  check(program, @"a negative number", [NSNumber numberWithLongLong:-5000000000LL]);
  NSMutableArray *many = [NSMutableArray array];
  for (int i = 0; i < 400; ++i) [many addObject:[NSString stringWithFormat:@"text %d", i]];
  check(program, @"two-byte references", many);
  NSMutableString *changing = [NSMutableString stringWithString:@"changing"];
  check(program, @"a mutable text", [NSArray arrayWithObject:changing]);
  NSLog(@"%d failures", failures);
  [pool release];
  return failures != 0;
}
